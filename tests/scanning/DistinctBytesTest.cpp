// Totals that count every byte once: nested items, repeated paths and further hard links.
#include "CleanerCore/scanning/DistinctBytes.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

CleanupCandidate item(const std::string& path, int64_t size,
                      std::optional<std::pair<uint64_t, uint64_t>> file = std::nullopt) {
    CleanupCandidate c;
    c.url = FileURL(path);
    c.sizeBytes = size;
    if (file) {
        c.resourceIdentity = FileResourceIdentity{};
        c.resourceIdentity->systemNumber = file->first;
        c.resourceIdentity->systemFileNumber = file->second;
    }
    return c;
}

TEST(DistinctBytes, CountsEveryByteOnce) {
    struct Case {
        const char* label;
        std::vector<CleanupCandidate> items;
        std::vector<bool> elsewhere;
        int64_t total;
    };
    const std::vector<Case> cases = {
        {"nested, inner listed first",
         {item("/h/.cache/pip/http", 40), item("/h/.cache/pip", 100), item("/h/.cache/x", 7)},
         {true, false, false},
         107},
        {"deeply nested",
         {item("/h/.cache/pip", 100), item("/h/.cache/pip/a/b/c", 5)},
         {false, true},
         100},
        {"a sibling sharing a prefix is not inside",
         {item("/h/.cache/pip", 100), item("/h/.cache/pip-old", 5)},
         {false, false},
         105},
        {"the same path under two categories",
         {item("/h/c/a", 10), item("/h/c/a/", 10)},
         {false, true},
         10},
        {"hard links to one file",
         {item("/h/c/l1", 10, {{1, 9}}), item("/h/c/l2", 10, {{1, 9}}),
          item("/h/c/other", 10, {{2, 9}})},
         {false, true, false},
         20},
    };
    for (const auto& c : cases) {
        std::vector<const CleanupCandidate*> pointers;
        for (const auto& i : c.items) pointers.push_back(&i);
        EXPECT_EQ(bytesCountedElsewhere(pointers), c.elsewhere) << c.label;
        EXPECT_EQ(distinctBytes(pointers), c.total) << c.label;
        // Given one at a time, the counter keeps nothing but must reach the same total.
        DistinctBytesCounter counter;
        for (const auto& i : c.items) counter.add(i);
        EXPECT_EQ(counter.total(), c.total) << c.label;
    }
}

}  // namespace
}  // namespace velmora
