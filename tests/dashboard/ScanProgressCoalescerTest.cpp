// The progress coalescer against a hand-driven clock and scheduler: no sleeps, no threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "VelmoraUI/dashboard/ScanProgressCoalescer.h"
#include "support/FakeTime.h"

namespace velmora {
namespace {

constexpr uint64_t kMs = 1'000'000;

using test::FakeClock;
using test::FakeScheduler;

StorageScanProgress sample(int64_t index, double fraction) {
    return StorageScanProgress::make(std::nullopt, 0, 1, index, index, std::nullopt, 0, 0,
                                     fraction);
}

struct Publication {
    uint64_t atMs;
    int64_t index;  // completedItems of the published sample
    friend bool operator==(const Publication&, const Publication&) = default;
    friend std::ostream& operator<<(std::ostream& os, const Publication& p) {
        return os << "#" << p.index << "@" << p.atMs << "ms";
    }
};

class ScanProgressCoalescerTest : public ::testing::Test {
  protected:
    std::shared_ptr<FakeClock> clock = std::make_shared<FakeClock>();
    std::shared_ptr<FakeScheduler> scheduler = std::make_shared<FakeScheduler>(clock);
    std::vector<Publication> published;
    std::shared_ptr<ScanProgressCoalescer> coalescer = fresh();

    std::shared_ptr<ScanProgressCoalescer> fresh() {
        published.clear();
        return ScanProgressCoalescer::make(
            [this](const StorageScanProgress& p) {
                published.push_back({clock->now / kMs, p.completedItems});
            },
            clock, scheduler);
    }

    void offerAt(uint64_t ms, int64_t index, double fraction = 0.5) {
        scheduler->advanceTo(ms * kMs);
        coalescer->offer(sample(index, fraction));
    }
};

TEST_F(ScanProgressCoalescerTest, Timelines) {
    struct Case {
        const char* name;
        std::vector<uint64_t> offersMs;  // sample i is offered at offersMs[i] and carries index i
        int finished;                    // the index of the finished sample, or -1
        std::vector<Publication> want;
    };
    const Case cases[] = {
        {"two samples 10 ms apart", {0, 10}, -1, {{0, 0}, {80, 1}}},
        {"burst keeps first and last", {0, 10, 20, 30}, -1, {{0, 0}, {80, 3}}},
        {"finished sample is not delayed", {0, 3, 5}, 2, {{0, 0}, {5, 2}}},
        {"after a finished sample, a full interval", {0, 3, 5, 30}, 2, {{0, 0}, {5, 2}, {85, 3}}},
        {"spaced samples go out at once", {0, 80, 200}, -1, {{0, 0}, {80, 1}, {200, 2}}},
        {"same instant is not later", {0, 0}, -1, {{0, 0}, {0, 1}}},
        {"a flush counts as a publication", {0, 10, 100}, -1, {{0, 0}, {80, 1}, {160, 2}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        clock->now = 0;
        coalescer = fresh();
        for (size_t i = 0; i < c.offersMs.size(); ++i) {
            offerAt(c.offersMs[i], static_cast<int64_t>(i),
                    static_cast<int>(i) == c.finished ? 1.0 : 0.1 * static_cast<double>(i + 1));
        }
        scheduler->advanceTo(10'000 * kMs);
        EXPECT_EQ(published, c.want);
        EXPECT_EQ(scheduler->pending(), 0u);
    }
}

TEST_F(ScanProgressCoalescerTest, OneFlushPerBurstWaitsOnlyTheRestOfTheInterval) {
    offerAt(0, 0);
    offerAt(10, 1);
    offerAt(20, 2);
    offerAt(30, 3);
    EXPECT_EQ(scheduler->delays, std::vector<uint64_t>{70 * kMs});
}

TEST_F(ScanProgressCoalescerTest, FinishPublishesOnlyWhatIsHeldThenNothingMore) {
    offerAt(0, 0);
    offerAt(100, 1);
    coalescer->finish();  // nothing held back: nothing to publish
    EXPECT_EQ(published, (std::vector<Publication>{{0, 0}, {100, 1}}));

    coalescer = fresh();
    offerAt(200, 2);
    offerAt(210, 3);
    coalescer->finish();  // publishes the held-back sample so the display shows the newest state
    const std::vector<Publication> shown = {{200, 2}, {210, 3}};
    EXPECT_EQ(published, shown);
    offerAt(220, 4, 1.0);
    offerAt(500, 5);
    scheduler->advanceTo(1'000 * kMs);
    coalescer->flushDelayed();
    coalescer->finish();
    EXPECT_EQ(published, shown);
}

TEST_F(ScanProgressCoalescerTest, PendingFlushDoesNotKeepTheCoalescerAlive) {
    offerAt(0, 0);
    offerAt(10, 1);
    ASSERT_EQ(scheduler->pending(), 1u);
    std::weak_ptr<ScanProgressCoalescer> weak = coalescer;
    coalescer.reset();
    EXPECT_TRUE(weak.expired());
    scheduler->advanceTo(1'000 * kMs);  // runs the orphaned flush
    EXPECT_EQ(published, (std::vector<Publication>{{0, 0}}));
}

}  // namespace
}  // namespace velmora
