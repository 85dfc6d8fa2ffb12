#include "VelmoraUI/dashboard/CleanerViewModel.h"

#include <unordered_set>

#include "CleanerCore/base/PrintableText.h"
#include "CleanerCore/platform/Environment.h"
#include "CleanerCore/scanning/DistinctBytes.h"
#include "CleanerCore/workflows/ScanReappearance.h"
#include "CleanerCore/workflows/ScanSession.h"
#include "CleanerCore/workflows/SnapshotCapture.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"
#include "VelmoraUI/dashboard/CoreTexts.h"
#include "VelmoraUI/dashboard/ScanProgressCoalescer.h"
#include "VelmoraUI/dashboard/SnapshotTexts.h"
#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/CleanupIgnoreStore.h"
#include "VelmoraUI/state/CleanupReviewPreferencesStore.h"
#include "VelmoraUI/state/CustomScanFolders.h"
#include "VelmoraUI/state/IgnoredCandidates.h"
#include "VelmoraUI/state/ReviewProfileScan.h"

namespace velmora {

CleanerViewModel::CleanerViewModel(CleanerEnvironment environment, CleanupIgnoreStore& ignoreStore,
                                   CustomScanFolderStore& folderStore,
                                   CleanupReviewPreferencesStore& reviewStore, QObject* parent)
    : QObject(parent),
      environment_(std::move(environment)),
      ignoreStore_(ignoreStore),
      folderStore_(folderStore),
      reviewStore_(reviewStore),
      home_(currentUserEnvironment(environment_.homeOverride).home) {
    if (!environment_.progressClock) environment_.progressClock = std::make_shared<SteadyClock>();
    if (!environment_.progressScheduler) {
        environment_.progressScheduler = std::make_shared<ThreadScheduler>();
    }
    // A failed save of the ignore list is the cleaner's own message.
    connect(&ignoreStore_, &CleanupIgnoreStore::lastErrorMessageChanged, this, [this] {
        if (auto text = ignoreStore_.lastErrorMessage()) {
            setMessage(
                [text = *text](AppLanguage language) { return presentedReason(text, language); });
        }
    });
}

CleanerViewModel::~CleanerViewModel() {
    task_.cancelAndWait();
}

void CleanerViewModel::setPhase(Phase phase) {
    if (phase_ == phase) return;
    phase_ = phase;
    emit phaseChanged();
}

void CleanerViewModel::setMessage(Sentence sentence) {
    message_ = std::move(sentence);
    emit messageChanged();
}

std::optional<std::string> CleanerViewModel::reappearanceText(AppLanguage language) const {
    if (!reappearance_) return std::nullopt;
    return reappearanceSentence(*reappearance_, language);
}

std::optional<std::string> CleanerViewModel::message(AppLanguage language) const {
    if (!message_) return std::nullopt;
    return message_(language);
}

bool CleanerViewModel::startScan(CleanupScanMode mode,
                                 std::optional<CleanupReviewProfileID> profileID) {
    if (phase_ == Phase::scanning || phase_ == Phase::cleaning) return false;
    setMessage({});
    progress_.reset();
    emit progressChanged();
    setPhase(Phase::scanning);

    ScanRequest request;
    request.homeOverride = environment_.homeOverride;
    request.catalogue = environment_.catalogue;
    request.mode = mode;
    request.allowDirect = true;  // choosing direct mode in the application is the permission
    bool hidesIgnored = true;
    const CleanupReviewProfile* profile = profileID ? &cleanupReviewProfile(*profileID) : nullptr;
    if (profile) hidesIgnored = profile->respectsIgnoreAndSnoozeRules;
    const std::vector<CustomScanFolder> folders = !profile || profile->includesCustomFolders
                                                      ? folderStore_.folders()
                                                      : std::vector<CustomScanFolder>{};

    coalescer_ = ScanProgressCoalescer::make(
        [this](const StorageScanProgress& sample) {
            postTo(this, [this, sample] {
                if (phase_ != Phase::scanning) return;
                progress_ = sample;
                emit progressChanged();
            });
        },
        environment_.progressClock, environment_.progressScheduler);

    task_.start([this, request = std::move(request), folders, profile, hidesIgnored,
                 runScan = environment_.runScan,
                 coalescer = coalescer_](const CancellationToken& cancel) mutable {
        // The kept folders are resolved for each scan: a folder replaced since it was added
        // is skipped with its reason instead of being scanned.
        addKeptFolders(request, folders);
        if (profile) request = scanRequestForProfile(*profile, std::move(request));
        auto setup = prepareScan(request, cancel);
        if (!setup) {
            coalescer->finish();
            Sentence refusal = [reason = setup.error()](AppLanguage language) {
                return presentedReason(reason, language);
            };
            postTo(this, [this, refusal = std::move(refusal)]() mutable {
                finishScan(std::nullopt, {}, std::nullopt, std::move(refusal), false);
            });
            return;
        }
        ScanReport report = runScan(
            *setup, [coalescer](const StorageScanProgress& p) { coalescer->offer(p); }, cancel);
        coalescer->finish();
        // Read here, off the interface thread, and before ignored candidates are hidden.
        auto reappearance = observeReappearance(*setup, report);
        // The snapshot holds the whole scan (the ignore list only hides candidates from view);
        // a cancelled scan keeps none.
        std::optional<SnapshotCaptureOutcome> snapshot;
        if (report.hasCompletedScan) {
            const auto scanMode =
                setup->fellBackToStandard ? CleanupScanMode::standard : request.mode;
            snapshot = captureScanSnapshot(report, scanMode, setup->environment);
        }
        postTo(this, [this, setup = std::move(*setup), report = std::move(report),
                      reappearance = std::move(reappearance), snapshot = std::move(snapshot),
                      hidesIgnored]() mutable {
            finishScan(std::move(setup), std::move(report), std::move(reappearance), {},
                       hidesIgnored);
            if (snapshot && snapshotCaptureNotice(*snapshot, AppLanguage::english)) {
                setMessage([outcome = std::move(*snapshot)](AppLanguage language) {
                    return *snapshotCaptureNotice(outcome, language);
                });
            }
        });
    });
    return true;
}

void CleanerViewModel::finishScan(std::optional<ScanSetup> setup, ScanReport report,
                                  std::optional<CleanupReappearanceObservation> reappearance,
                                  Sentence refusal, bool hidesIgnored) {
    coalescer_.reset();
    if (!setup) {
        setMessage(std::move(refusal));
        setPhase(report_.scannedRoots.empty() && report_.candidates.empty() ? Phase::idle
                                                                            : Phase::review);
        return;
    }
    ignoredCount_ = 0;
    if (hidesIgnored) {
        ignoreStore_.purgeExpired(environment_.now());
        ignoredCount_ =
            hideIgnoredCandidates(report, ignoreStore_.activeIgnoredIDs(environment_.now()));
    }
    home_ = setup->environment.home;
    setup_ = std::move(setup);
    report_ = std::move(report);
    scanWasCancelled_ = !report_.hasCompletedScan;
    reappearance_ = std::move(reappearance);
    selected_.assign(report_.candidates.size(), false);
    for (size_t i = 0; i < report_.candidates.size(); ++i)
        selected_[i] = report_.candidates[i].isSelectedByDefault;
    cleanupResults_.clear();
    cleanupOutcome_.reset();
    emit reportChanged();
    emit selectionChanged();
    setPhase(Phase::review);
}

void CleanerViewModel::cancel() {
    task_.cancel();
}

int64_t CleanerViewModel::reclaimableBytes() const {
    std::vector<const CleanupCandidate*> all;
    all.reserve(report_.candidates.size());
    for (const auto& c : report_.candidates) all.push_back(&c);
    return distinctBytes(all);
}

void CleanerViewModel::setSelected(size_t row, bool selected) {
    if (row >= selected_.size() || selected_[row] == selected) return;
    selected_[row] = selected;
    emit selectionChanged();
}

void CleanerViewModel::setSelected(const std::vector<size_t>& rows, bool selected) {
    bool changed = false;
    for (size_t row : rows) {
        if (row < selected_.size() && selected_[row] != selected) {
            selected_[row] = selected;
            changed = true;
        }
    }
    if (changed) emit selectionChanged();
}

void CleanerViewModel::selectAll(bool selected) {
    selected_.assign(report_.candidates.size(), selected);
    emit selectionChanged();
}

std::vector<CleanupCandidate> CleanerViewModel::selectedCandidates() const {
    std::vector<CleanupCandidate> out;
    for (size_t i = 0; i < report_.candidates.size(); ++i)
        if (selected_[i]) out.push_back(report_.candidates[i]);
    return out;
}

CleanupSelectionPreview CleanerViewModel::selectionPreview() const {
    return CleanupSelectionPreview::make(selectedCandidates());
}

bool CleanerViewModel::ignore(const std::vector<size_t>& rows, CleanupIgnoreDuration duration) {
    if (phase_ != Phase::review) return false;
    std::vector<CleanupCandidate> chosen;
    std::unordered_set<size_t> removed;
    for (size_t row : rows) {
        if (row < report_.candidates.size() && removed.insert(row).second)
            chosen.push_back(report_.candidates[row]);
    }
    if (chosen.empty()) return false;
    if (!ignoreStore_.ignore(chosen, duration, environment_.now())) return false;
    std::vector<CleanupCandidate> kept;
    std::vector<bool> keptSelection;
    for (size_t i = 0; i < report_.candidates.size(); ++i) {
        if (removed.count(i)) continue;
        kept.push_back(std::move(report_.candidates[i]));
        keptSelection.push_back(selected_[i]);
    }
    report_.candidates = std::move(kept);
    selected_ = std::move(keptSelection);
    ignoredCount_ += removed.size();
    emit reportChanged();
    emit selectionChanged();
    return true;
}

bool CleanerViewModel::startCleanup() {
    if (phase_ != Phase::review || !setup_) return false;
    std::vector<CleanupCandidate> selection = selectedCandidates();
    if (selection.empty()) return false;
    setMessage({});
    cleanupResults_.clear();
    cleanupOutcome_.reset();
    cleanupRequestedBytes_ = CleanupSelectionPreview::make(selection).bytes;
    setPhase(Phase::cleaning);
    task_.start([this, setup = *setup_,
                 selection = std::move(selection)](const CancellationToken& cancel) mutable {
        CleanupRunObserver observer;
        observer.cleaned = [this](const CleanedItem& item) {
            postTo(this, [this, candidate = item.candidate] {
                cleanupResults_.push_back({candidate, true, {}});
                emit cleanupItemFinished(int(cleanupResults_.size()) - 1);
            });
        };
        observer.failed = [this](const FailedCleanItem& item) {
            postTo(this, [this, candidate = item.candidate, reason = item.reason] {
                cleanupResults_.push_back({candidate, false, reason});
                emit cleanupItemFinished(int(cleanupResults_.size()) - 1);
            });
        };
        CleanupRunOutcome outcome = runCleanup(
            setup, std::move(selection), CleaningMode::moveToTrash,
            CleanupAuditSource::cleanupDashboard,
            [&cancel] { return cancel.isCancellationRequested(); }, observer);
        postTo(this, [this, outcome = std::move(outcome)]() mutable {
            finishCleanup(std::move(outcome));
        });
    });
    return true;
}

void CleanerViewModel::finishCleanup(CleanupRunOutcome outcome) {
    // The cleaned items leave the report, and so do candidates inside them (they went to the
    // Trash with them); failed and untouched ones stay for another try.
    // Paths are standardized; a candidate went with a cleaned item when the item's path is the
    // candidate's or one of its ancestors (a walk up the path, not a scan of every item).
    std::unordered_set<std::string> cleaned;
    for (const auto& r : cleanupResults_)
        if (r.cleaned) cleaned.insert(r.candidate.url.path);
    auto wasCleaned = [&cleaned](std::string path) {
        while (!path.empty()) {
            if (cleaned.count(path)) return true;
            const size_t slash = path.rfind('/');
            if (slash == std::string::npos || slash == 0) break;
            path.resize(slash);
        }
        return false;
    };
    std::vector<CleanupCandidate> kept;
    std::vector<bool> keptSelection;
    for (size_t i = 0; i < report_.candidates.size(); ++i) {
        if (wasCleaned(report_.candidates[i].url.path)) continue;
        kept.push_back(std::move(report_.candidates[i]));
        keptSelection.push_back(selected_[i]);
    }
    report_.candidates = std::move(kept);
    selected_ = std::move(keptSelection);

    // A cleanup that ran to its end completes the person's review.
    if (!outcome.wasCancelled) reviewStore_.markReviewed(environment_.now());
    if (outcome.record == CleanupHistoryRecord::notWritten) {
        setMessage([where = printable(outcome.historyPath)](AppLanguage language) {
            // clang-format off
            // i18n-example: "The cleanup history /home/ana/.local/share/Velmora/cleanup-audit-log.json could not be written, so this cleanup is not recorded and cannot be restored from the history."
            // clang-format on
            return VelmoraCopy{language}.text(
                "The cleanup history " + where +
                    " could not be written, so this cleanup is not recorded and cannot be "
                    "restored from the history.",
                "정리 기록 " + where +
                    "을(를) 쓸 수 없어 이번 정리는 기록되지 않았고 기록에서 복원할 수 "
                    "없습니다.");
        });
    }
    cleanupOutcome_ = std::move(outcome);
    reappearance_.reset();
    emit reportChanged();
    emit selectionChanged();
    setPhase(Phase::review);
    emit cleanupFinished();
}

}  // namespace velmora
