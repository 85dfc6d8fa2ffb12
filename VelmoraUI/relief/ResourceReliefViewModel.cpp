#include "VelmoraUI/relief/ResourceReliefViewModel.h"

#include <QCollator>
#include <QLocale>
#include <QString>
#include <algorithm>

#include "CleanerCore/relief/ResourceReliefPolicy.h"
#include "VelmoraUI/relief/ResourceReliefTexts.h"

namespace velmora {

// Shared with the scheduled task: it may run on any thread and after this object is gone, so
// it reaches the view model only through this guarded pointer.
struct ResourceReliefViewModel::PendingRefresh {
    std::mutex mutex;
    ResourceReliefViewModel* owner = nullptr;
    uint64_t generation = 0;
};

ResourceReliefViewModel::ResourceReliefViewModel(
    ResourceReliefProviders providers, ResourceReliefIdentity identity, Scheduler& scheduler,
    uint64_t postQuitRefreshDelayNanoseconds, QObject* parent, DisplayNameComparator compareNames)
    : QObject(parent),
      providers_(std::move(providers)),
      identity_(std::move(identity)),
      scheduler_(scheduler),
      postQuitRefreshDelay_(postQuitRefreshDelayNanoseconds),
      compareNames_(compareNames ? std::move(compareNames) : collatorComparator(QLocale())),
      pending_(std::make_shared<PendingRefresh>()) {
    pending_->owner = this;
}

ResourceReliefViewModel::~ResourceReliefViewModel() {
    {
        std::lock_guard lock(pending_->mutex);
        pending_->owner = nullptr;
    }
    refreshTask_.cancelAndWait();
    quitTask_.cancelAndWait();
}

DisplayNameComparator ResourceReliefViewModel::collatorComparator(const QLocale& locale) {
    auto collator = std::make_shared<QCollator>(locale);
    collator->setCaseSensitivity(Qt::CaseInsensitive);
    return [collator](std::string_view a, std::string_view b) {
        return collator->compare(QString::fromUtf8(a.data(), static_cast<qsizetype>(a.size())),
                                 QString::fromUtf8(b.data(), static_cast<qsizetype>(b.size())));
    };
}

bool ResourceReliefViewModel::hasActionableCandidates() const {
    return std::any_of(candidates_.begin(), candidates_.end(),
                       [](const auto& c) { return c.eligibility.isActionable; });
}

bool ResourceReliefViewModel::canRequestQuit() const {
    return !requesting_ && !selected_.empty() && capability_.canRequestQuitOtherApplications;
}

bool ResourceReliefViewModel::refresh() {
    if (refreshing_) return false;
    refreshing_ = true;
    emit refreshingChanged();
    refreshTask_.start([this, providers = providers_](const CancellationToken&) {
        ResourceReliefCapability capability = providers.capabilityProvider
                                                  ? providers.capabilityProvider()
                                                  : ResourceReliefCapability::unknown();
        std::vector<ResourceReliefProcessSnapshot> snapshots;
        if (providers.candidateProvider) snapshots = providers.candidateProvider();
        postTo(this, [this, capability, snapshots = std::move(snapshots)]() mutable {
            publish(capability, std::move(snapshots));
        });
    });
    return true;
}

void ResourceReliefViewModel::publish(ResourceReliefCapability capability,
                                      std::vector<ResourceReliefProcessSnapshot> snapshots) {
    if (capability != capability_) {
        capability_ = capability;
        emit capabilityChanged();
    }
    candidates_ = reliefPolicy(identity_, capability_).candidates(snapshots);
    byCPU_ = rankedByCPU(candidates_, compareNames_);
    byMemory_ = rankedByMemory(candidates_, compareNames_);
    emit candidatesChanged();
    // A selected id that is no longer listed as actionable is dropped: the person can no
    // longer see what it meant.
    const size_t before = selected_.size();
    std::erase_if(selected_, [this](const ResourceReliefCandidateID& id) {
        return std::none_of(candidates_.begin(), candidates_.end(), [&](const auto& c) {
            return c.id == id && c.eligibility.isActionable;
        });
    });
    if (selected_.size() != before) emit selectionChanged();
    refreshing_ = false;
    emit refreshingChanged();
    if (std::exchange(refreshAgain_, false)) refresh();
}

void ResourceReliefViewModel::toggleSelection(const ResourceReliefCandidateID& id) {
    if (selected_.erase(id) == 0) {
        const bool actionable =
            std::any_of(candidates_.begin(), candidates_.end(),
                        [&](const auto& c) { return c.id == id && c.eligibility.isActionable; });
        if (!actionable) return;
        selected_.insert(id);
    }
    emit selectionChanged();
}

bool ResourceReliefViewModel::requestQuitForSelected() {
    if (!canRequestQuit()) return false;
    std::vector<ResourceReliefCandidate> chosen;
    for (const auto& c : candidates_) {
        if (selected_.count(c.id)) chosen.push_back(c);
    }
    requesting_ = true;
    emit requestingQuitChanged();
    quitTask_.start([this, chosen = std::move(chosen),
                     policy = reliefPolicy(identity_, capability_),
                     request = providers_.requestProviders()](const CancellationToken&) {
        auto results = requestQuit(chosen, policy, request);
        postTo(this,
               [this, results = std::move(results)]() mutable { finishPass(std::move(results)); });
    });
    return true;
}

void ResourceReliefViewModel::finishPass(std::vector<ResourceReliefActionResult> results) {
    lastResults_ = std::move(results);
    emit lastResultsChanged();
    selected_.clear();
    emit selectionChanged();
    requesting_ = false;
    emit requestingQuitChanged();
    schedulePostQuitRefresh();
}

void ResourceReliefViewModel::schedulePostQuitRefresh() {
    uint64_t generation = 0;
    {
        std::lock_guard lock(pending_->mutex);
        generation = ++pending_->generation;
    }
    scheduler_.schedule(postQuitRefreshDelay_, [pending = pending_, generation] {
        std::lock_guard lock(pending->mutex);
        if (!pending->owner || pending->generation != generation) return;
        ResourceReliefViewModel* owner = pending->owner;
        // Posted while the lock keeps the owner alive; a queued call to an object destroyed
        // before it runs is dropped by Qt.
        postTo(owner, [owner] {
            if (!owner->refresh()) owner->refreshAgain_ = true;
        });
    });
}

std::optional<std::string> ResourceReliefViewModel::panelNote(AppLanguage language) const {
    if (capability_.reason == ResourceReliefCapability::Reason::appSandbox)
        return reliefSandboxExplanation(language);
    if (!hasActionableCandidates()) return reliefNoCandidatesSentence(language);
    return std::nullopt;
}

std::string ResourceReliefViewModel::quitDialogTitle(AppLanguage language) const {
    return reliefQuitDialogTitle(language);
}

std::string ResourceReliefViewModel::quitDialogText(AppLanguage language) const {
    return reliefQuitDialogText(selected_.size(), language);
}

}  // namespace velmora
