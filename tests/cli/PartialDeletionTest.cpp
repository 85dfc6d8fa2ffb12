// A permanent deletion that stops part-way must not be reported as if the item were intact: the
// person learns that part of it is gone, where the deletion stopped, and why.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <iostream>

#include "cli/CommandRunner.h"

namespace velmora {
namespace {

using test::CommandHome;
using test::Outcome;

TEST(PartialDeletionTest, ADeletionStoppedPartWaySaysWhatIsGone) {
    CommandHome h;
    // The file inside "open" can be deleted, but "open" itself cannot be removed from the
    // read-only "locked": the deletion stops after it removed something.
    h.oldCacheFile("locked/open/data", "data");
    h.tree.chmod("home/.cache/locked", 0555);
    const std::string locked = h.homePath(".cache/locked");

    const bool ok = test::runWithoutPrivileges(h.tree, [&] {
        const Outcome o = h.velmora({"clean", "--delete-permanently", "--yes", locked});
        const std::string expected =
            "Partly deleted: ~/.cache/locked\n"
            "    Part of the item was deleted before the deletion stopped at " +
            locked +
            "/open: Permission denied\n\n0 items (0 bytes) deleted. 1 item was partly deleted.";
        const bool matches = o.status == 1 && o.out.find(expected) != std::string::npos &&
                             o.out.find("Not deleted") == std::string::npos &&
                             o.out.find("left in place") == std::string::npos;
        if (!matches) std::cerr << "status " << o.status << "\n" << o.out << o.err;
        return matches;
    });
    EXPECT_TRUE(ok);
    h.tree.chmod("home/.cache/locked", 0755);
}

}  // namespace
}  // namespace velmora
