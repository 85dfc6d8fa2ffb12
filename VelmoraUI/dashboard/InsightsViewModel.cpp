#include "VelmoraUI/dashboard/InsightsViewModel.h"

#include <QPointer>

#include "CleanerCore/base/PrintableText.h"
#include "CleanerCore/platform/Environment.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"
#include "VelmoraUI/dashboard/ScanProgressCoalescer.h"
#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/MainThreadScheduler.h"

namespace velmora {

// What a finished scan hands to the UI thread.
struct InsightsViewModel::Scanned {
    InsightRun run;
    std::shared_ptr<const InsightCleanupScope> scope;
    std::set<std::string> movable;
};

InsightsViewModel::InsightsViewModel(InsightsEnvironment environment, QSettings& settings,
                                     QObject* parent)
    : QObject(parent),
      environment_(std::move(environment)),
      store_(settings),
      home_(currentUserEnvironment(environment_.homeOverride).home) {
    if (!environment_.clock) environment_.clock = std::make_shared<SteadyClock>();
    if (!environment_.progressScheduler) {
        environment_.progressScheduler = std::make_shared<ThreadScheduler>();
    }
    if (!environment_.mainScheduler) {
        environment_.mainScheduler = std::make_shared<MainThreadScheduler>();
    }
    if (!environment_.captureSnapshot)
        environment_.captureSnapshot = SystemResourceSnapshot::capture;
    metricHistory_ = store_.load(environment_.now());
    persistence_ = std::make_unique<SystemMetricHistoryPersistenceScheduler>(
        [this](const SystemMetricHistory& history) { store_.save(history); },
        environment_.saveDebounceNanoseconds, environment_.maximumDeferredSaveNanoseconds,
        *environment_.clock, *environment_.mainScheduler);
}

InsightsViewModel::~InsightsViewModel() {
    task_.cancelAndWait();
    persistence_->flush();
    persistence_.reset();
}

void InsightsViewModel::setPhase(Phase phase) {
    if (phase_ == phase) return;
    phase_ = phase;
    emit phaseChanged();
}

void InsightsViewModel::setMessage(Sentence sentence) {
    message_ = std::move(sentence);
    emit messageChanged();
}

std::optional<std::string> InsightsViewModel::message(AppLanguage language) const {
    if (!message_) return std::nullopt;
    return message_(language);
}

bool InsightsViewModel::isRecommendedKeeper(const FileInsight& finding) const {
    const auto found = keepers_.find(finding.id);
    return found != keepers_.end() && found->second.keeperID == finding.id;
}

bool InsightsViewModel::startScan() {
    if (phase_ != Phase::idle) return false;
    setMessage({});
    progress_.reset();
    emit progressChanged();
    setPhase(Phase::scanning);

    InsightRunRequest request;
    request.homeOverride = environment_.homeOverride;
    request.catalogue = environment_.catalogue;
    request.overrides = environment_.overrides;
    coalescer_ = ScanProgressCoalescer::make(
        [this](const StorageScanProgress& sample) {
            postTo(this, [this, sample] {
                if (phase_ != Phase::scanning) return;
                progress_ = sample;
                emit progressChanged();
            });
        },
        environment_.clock, environment_.progressScheduler);

    task_.start([this, request = std::move(request), runScan = environment_.runScan,
                 coalescer = coalescer_](const CancellationToken& cancel) {
        auto scanned = std::make_shared<Scanned>();
        const UserEnvironment environment = insightEnvironment(request);
        scanned->run = runScan(
            request, environment,
            [coalescer](const StorageScanProgress& p) { coalescer->offer(p); }, cancel);
        coalescer->finish();
        if (!scanned->run.wasCancelled) {
            // Judged here, off the UI thread: the allowance reads each finding's attributes.
            auto scope = std::make_shared<InsightCleanupScope>(
                insightCleanupScope(environment, request.catalogue,
                                    scanned->run.configuration.maximumVisitedItemsPerRoot));
            const MacStorageInsightReport& r = scanned->run.report;
            auto judge = [&](const FileInsight& f) {
                if (scope->mayMoveToTrash(f)) scanned->movable.insert(f.id);
            };
            for (const auto* list : {&r.largeFiles, &r.downloadFiles, &r.securityFindings})
                for (const auto& f : *list) judge(f);
            for (const auto& group : r.duplicateGroups)
                for (const auto& f : group.files) judge(f);
            scanned->scope = std::move(scope);
        }
        postTo(this, [this, scanned] { finishScan(scanned); });
    });
    return true;
}

void InsightsViewModel::finishScan(std::shared_ptr<Scanned> scanned) {
    coalescer_.reset();
    scanWasCancelled_ = scanned->run.wasCancelled;
    if (scanWasCancelled_) {
        // The earlier report stays: a partial one would show less than there is.
        const bool hadReport = report_.hasCompletedScan;
        setMessage([hadReport](AppLanguage language) {
            const VelmoraCopy copy{language};
            if (hadReport) {
                return copy.text(
                    "The scan was cancelled; the results of the previous scan are still shown.",
                    "검사를 취소했습니다. 이전 검사 결과를 계속 표시합니다.");
            }
            return copy.text("The scan was cancelled before it finished.",
                             "검사가 끝나기 전에 취소했습니다.");
        });
    } else {
        home_ = scanned->run.home;
        storageTree_ = std::move(scanned->run.storageTree);
        report_ = std::move(scanned->run.report);
        keeperList_ = std::move(scanned->run.keepers);
        movable_ = std::move(scanned->movable);
        scope_ = std::move(scanned->scope);
        moveResults_.clear();
        moveOutcome_.reset();
        rebuildKeepers();
        if (!systemSnapshot_.capturedAt) systemSnapshot_ = report_.systemSnapshot;
        emit reportChanged();
        emit systemChanged();
    }
    setPhase(Phase::idle);
}

void InsightsViewModel::rebuildKeepers() {
    keepers_.clear();
    for (const auto& group : report_.duplicateGroups) {
        for (const auto& keeper : keeperList_) {
            if (keeper.groupID != group.id) continue;
            for (const auto& f : group.files) keepers_[f.id] = keeper;
        }
    }
}

bool InsightsViewModel::moveToTrash(std::vector<std::string> ids) {
    if (phase_ != Phase::idle || ids.empty() || !scope_) return false;
    setMessage({});
    setPhase(Phase::moving);
    task_.start([this, scope = scope_, report = report_, keepers = keeperList_,
                 ids = std::move(ids)](const CancellationToken& cancel) mutable {
        InsightCleanupOutcome outcome = runInsightCleanup(
            *scope, report, keepers, ids, [&cancel] { return cancel.isCancellationRequested(); });
        postTo(this, [this, outcome = std::move(outcome), ids = std::move(ids)]() mutable {
            finishMove(std::move(outcome), std::move(ids));
        });
    });
    return true;
}

void InsightsViewModel::finishMove(InsightCleanupOutcome outcome, std::vector<std::string> ids) {
    // One result per chosen file, in the order chosen.
    std::map<std::string, InsightMoveResult> byPath;
    std::vector<std::string> moved;
    for (const auto& item : outcome.cleaned) {
        byPath[item.candidate.url.path] = {
            item.candidate.url.path, InsightMoveResult::State::moved, {}};
        moved.push_back(item.candidate.url.path);
    }
    for (const auto& item : outcome.failed) {
        byPath[item.candidate.url.path] = {item.candidate.url.path,
                                           InsightMoveResult::State::failed, item.reason};
    }
    size_t keptCopies = 0;
    for (const auto& refusal : outcome.refused) {
        if (refusal.path.empty()) continue;
        const bool kept = refusal.kind == InsightCleanupRefusal::Kind::keptLastCopy;
        keptCopies += kept;
        byPath[refusal.path] = {
            refusal.path,
            kept ? InsightMoveResult::State::keptLastCopy : InsightMoveResult::State::notOffered,
            {}};
    }
    moveResults_.clear();
    for (const auto& id : ids) {
        const FileInsight* finding = findInsight(report_, id);
        if (!finding) continue;
        const auto found = byPath.find(finding->url.path);
        if (found == byPath.end()) continue;  // cancelled before it, or listed already
        moveResults_.push_back(std::move(found->second));
        byPath.erase(found);
    }

    removeMovedFindings(report_, keeperList_, moved, environment_.catalogue);
    std::erase_if(movable_, [this](const std::string& id) { return !findInsight(report_, id); });
    rebuildKeepers();

    CleanupTally tally;
    tally.cleaned = static_cast<int64_t>(outcome.cleaned.size());
    tally.cleanedBytes = outcome.run.cleanedBytes;
    tally.leftInPlace = static_cast<int64_t>(outcome.failed.size() + outcome.refused.size());
    tally.cancelled = outcome.run.wasCancelled;
    const bool notRecorded =
        !outcome.cleaned.empty() && outcome.run.record == CleanupHistoryRecord::notWritten;
    setMessage([tally, keptCopies, notRecorded,
                where = printable(outcome.run.historyPath)](AppLanguage language) {
        const VelmoraCopy copy{language};
        std::string text = cleanupSummaryText(tally, language);
        if (keptCopies > 0) {
            text += " " + copy.text(
                              "One copy of each duplicate group was kept, so that the "
                              "group does not disappear entirely.",
                              "각 중복 그룹이 모두 사라지지 않도록 한 부씩 남겨 두었습니다.");
        }
        if (notRecorded) {
            // clang-format off
            // i18n-example: "The cleanup history /home/ana/.local/share/Velmora/cleanup-audit-log.json could not be written, so this cleanup is not recorded and cannot be restored from the history."
            // clang-format on
            text += " " + copy.text("The cleanup history " + where +
                                        " could not be written, so this cleanup is not recorded "
                                        "and cannot be restored from the history.",
                                    "정리 기록 " + where +
                                        "을(를) 쓸 수 없어 이번 정리는 기록되지 않았고 기록에서 "
                                        "복원할 수 없습니다.");
        }
        return text;
    });
    moveOutcome_ = std::move(outcome);
    emit reportChanged();
    setPhase(Phase::idle);
    emit moveFinished();
}

void InsightsViewModel::refreshSystemSnapshot() {
    systemSnapshot_ = environment_.captureSnapshot();
    metricHistory_ = metricHistory_.appending(systemSnapshot_);
    persistence_->schedule(metricHistory_);
    emit systemChanged();
}

void InsightsViewModel::setSystemSamplingActive(bool active) {
    if (sampling_ == active) return;
    sampling_ = active;
    ++samplingGeneration_;  // a tick already scheduled finds itself outdated
    if (!active) return;
    refreshSystemSnapshot();
    scheduleSample();
}

void InsightsViewModel::scheduleSample() {
    environment_.mainScheduler->schedule(
        environment_.samplingIntervalNanoseconds,
        [self = QPointer<InsightsViewModel>(this), generation = samplingGeneration_] {
            if (!self || !self->sampling_ || self->samplingGeneration_ != generation) return;
            self->refreshSystemSnapshot();
            self->scheduleSample();
        });
}

}  // namespace velmora
