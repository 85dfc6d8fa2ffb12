#include "VelmoraUI/dashboard/HistoryViewModel.h"

#include "CleanerCore/audit/CleanupAuditChain.h"
#include "CleanerCore/audit/CleanupAuditStore.h"
#include "CleanerCore/base/PrintableText.h"
#include "CleanerCore/platform/Environment.h"
#include "CleanerCore/workflows/InsightCleanupRun.h"
#include "CleanerCore/workflows/InsightRun.h"
#include "VelmoraUI/dashboard/CoreTexts.h"
#include "VelmoraUI/dashboard/HistoryTexts.h"
#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/CustomScanFolders.h"

namespace velmora {

HistoryViewModel::HistoryViewModel(CleanerEnvironment environment,
                                   CustomScanFolderStore& folderStore, QObject* parent)
    : QObject(parent), environment_(std::move(environment)), folderStore_(folderStore) {}

HistoryViewModel::~HistoryViewModel() {
    task_.cancelAndWait();
}

void HistoryViewModel::setBusy(bool busy) {
    if (busy_ == busy) return;
    busy_ = busy;
    emit busyChanged();
}

HistoryViewModel::Loaded HistoryViewModel::load(const CleanerEnvironment& environment) {
    const UserEnvironment user = currentUserEnvironment(environment.homeOverride);
    CleanupAuditStore store(CleanupAuditStore::defaultFilePath(user));
    CleanupAuditReadResult read = store.readRecentEntries();
    Loaded loaded;
    loaded.integrity = verifyChain(read.entries);
    loaded.entries = std::move(read.entries);
    loaded.damage = std::move(read.damage);
    loaded.backupPath = std::move(read.backupPath);
    loaded.home = user.home;
    return loaded;
}

void HistoryViewModel::apply(Loaded loaded) {
    entries_ = std::move(loaded.entries);
    integrity_ = loaded.integrity;
    damage_ = std::move(loaded.damage);
    backupPath_ = std::move(loaded.backupPath);
    home_ = std::move(loaded.home);
    emit entriesChanged();
}

bool HistoryViewModel::reload() {
    if (busy_) return false;
    setBusy(true);
    task_.start([this, environment = environment_](const CancellationToken&) {
        Loaded loaded = load(environment);
        postTo(this, [this, loaded = std::move(loaded)]() mutable {
            apply(std::move(loaded));
            setBusy(false);
        });
    });
    return true;
}

std::string HistoryViewModel::integritySentence(AppLanguage language) const {
    return presentedIntegritySentence(integrity_, language);
}

std::optional<std::string> HistoryViewModel::damageSentence(AppLanguage language) const {
    if (!damage_) return std::nullopt;
    std::optional<std::string> backup;
    if (backupPath_) backup = printable(*backupPath_);
    return unreadableHistorySentence(*damage_, backup, entries_.size(), language);
}

bool HistoryViewModel::canRestore(const CleanupAuditEntry& entry) {
    return entry.operation == CleanupAuditOperation::clean && !entry.cleanedItems.empty() &&
           entry.mode == CleaningMode::moveToTrash;
}

std::optional<std::string> HistoryViewModel::message(AppLanguage language) const {
    if (!message_) return std::nullopt;
    return message_(language);
}

bool HistoryViewModel::startRestore(const std::string& entryID, std::vector<std::string> paths) {
    if (busy_) return false;
    setBusy(true);
    message_ = {};
    emit messageChanged();
    // The restore is fenced by every location a cleanup could have come from: the catalogue's
    // widest mode and the kept folders, each checked as a scan root is.
    ScanRequest request;
    request.homeOverride = environment_.homeOverride;
    request.catalogue = environment_.catalogue;
    request.mode = CleanupScanMode::direct;
    request.allowDirect = true;
    std::vector<CustomScanFolder> folders = folderStore_.folders();
    task_.start([this, request = std::move(request), folders = std::move(folders), entryID,
                 paths = std::move(paths),
                 environment = environment_](const CancellationToken& cancel) mutable {
        addKeptFolders(request, folders);
        std::optional<RestoreRunOutcome> outcome;
        Sentence refusal;
        Result<ScanSetup> setup = prepareScan(request, cancel);
        if (!setup) {
            refusal = [reason = setup.error()](AppLanguage language) {
                return presentedReason(reason, language);
            };
        } else {
            auto planned = planRestore(*setup, RestoreRequest{false, entryID, paths});
            if (auto* plan = std::get_if<RestorePlan>(&planned)) {
                // A cleanup of insight findings is fenced by the insight scan's folders instead.
                const RestoreFence fence =
                    restoreFenceFor(plan->entry, std::move(*setup), environment.catalogue,
                                    CleanupAuditSource::cleanupDashboard);
                outcome = runRestore(fence.setup, *plan, fence.source,
                                     [&cancel] { return cancel.isCancellationRequested(); });
            } else {
                const RestoreRefusal r = std::get<RestoreRefusal>(planned);
                refusal = [r](AppLanguage language) {
                    const VelmoraCopy copy{language};
                    if (r.kind == RestoreRefusal::Kind::pathNotInCleanup) {
                        const std::string path = printable(r.text);
                        // clang-format off
                        // i18n-example: "/home/ana/.cache/x was not cleaned by that cleanup; nothing was put back."
                        // clang-format on
                        return copy.text(
                            path + " was not cleaned by that cleanup; nothing was put back.",
                            path +
                                "은(는) 그 정리에서 정리된 항목이 아닙니다. 아무것도 "
                                "되돌리지 않았습니다.");
                    }
                    return copy.text(
                        "That cleanup is no longer in the history; nothing was put back.",
                        "그 정리는 더 이상 기록에 없습니다. 아무것도 되돌리지 않았습니다.");
                };
            }
        }
        Loaded loaded = load(environment);
        postTo(this, [this, outcome = std::move(outcome), refusal = std::move(refusal),
                      loaded = std::move(loaded)]() mutable {
            restoreOutcome_ = std::move(outcome);
            if (refusal) {
                message_ = std::move(refusal);
                emit messageChanged();
            }
            apply(std::move(loaded));
            setBusy(false);
            emit restoreFinished();
        });
    });
    return true;
}

}  // namespace velmora
