#include "CleanerCore/workflows/InsightRun.h"

namespace velmora {

UserEnvironment insightEnvironment(const InsightRunRequest& request) {
    return currentUserEnvironment(request.homeOverride);
}

MacStorageInsightScanner::Configuration insightConfiguration(
    Catalogue catalogue, const InsightConfigurationOverrides& overrides) {
    auto config = MacStorageInsightScanner::Configuration::forCatalogue(catalogue);
    auto set = [](int64_t& field, const std::optional<int64_t>& value) {
        if (value) field = *value;
    };
    set(config.maximumVisitedItemsPerRoot, overrides.visitLimit);
    set(config.maximumResultCount, overrides.resultLimit);
    set(config.minimumLargeFileBytes, overrides.largeFileBytes);
    set(config.minimumDuplicateFileBytes, overrides.duplicateFileBytes);
    set(config.maximumDuplicateHashBytes, overrides.duplicateBudget);
    set(config.maximumDuplicateFullHashBytesPerFile, overrides.duplicateFileBudget);
    set(config.maximumDuplicateHashFiles, overrides.duplicateFiles);
    set(config.maximumDuplicateFingerprintBytes, overrides.fingerprintBudget);
    set(config.maximumDuplicateFingerprintFiles, overrides.fingerprintFiles);
    return config.clamped();
}

InsightRun runInsightScan(const InsightRunRequest& request, const UserEnvironment& environment,
                          const std::function<void(const StorageScanProgress&)>& progress,
                          const CancellationToken& cancel) {
    MacStorageInsightScanner::Options options;
    options.catalogue = request.catalogue;
    options.configHome = environment.xdgConfigHome;
    // Paths outside a scanned home other than the person's own are still shown from their home.
    if (request.homeOverride) options.platformHome = currentUserEnvironment({}).home;
    options.progress = progress;
    options.storageTree = request.storageTree;
    MacStorageInsightScanner scanner(environment.home,
                                     insightConfiguration(request.catalogue, request.overrides),
                                     std::move(options));
    InsightRun run;
    run.report = scanner.scan(cancel, &run.notes);
    run.storageTree = std::move(run.notes.storageTree);
    run.wasCancelled = cancel.isCancellationRequested();
    run.home = scanner.home();
    run.configuration = scanner.configuration();
    run.keepers = duplicateKeeperRecommendations(run.report, request.catalogue);
    return run;
}

}  // namespace velmora
