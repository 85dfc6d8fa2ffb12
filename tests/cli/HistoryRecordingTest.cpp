// What the history promises a person: a cleanup that could not be recorded is reported with
// everything needed to find the items, and `restore --last` never mistakes an older cleanup for
// it; `history --verify` never claims to have checked a file it could not read, and notices
// entries removed from the newest end; a restore never takes anything but one trashed item.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>

#include "CleanerCore/platform/FileIdentity.h"
#include "CleanerCore/scanning/FileURL.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "cli/CommandRunner.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using test::CommandHome;
using test::Outcome;

struct HistoryHome : CommandHome {
    std::string folder = dataHome + "/Velmora";
    std::string historyFile = folder + "/cleanup-audit-log.json";

    explicit HistoryHome(const std::vector<std::string>& caches) {
        for (const auto& c : caches) oldCacheFile(c + "/inner/data", "data of " + c);
    }
    std::string cache(const std::string& name) const { return homePath(".cache/" + name); }
    Outcome clean(const std::string& name) { return velmora({"clean", cache(name), "--yes"}); }
    nlohmann::json history() const {
        return nlohmann::json::parse(test::readAll(historyFile), nullptr, false);
    }
    void writeHistory(const nlohmann::json& j) const {
        std::ofstream(historyFile, std::ios::binary | std::ios::trunc) << j.dump(2);
    }
};

// A forged history entry points a restore at the Trash's `files` folder itself, or at something
// deep inside a trashed folder, with the identity of that object so the identity check passes.
TEST(HistoryRecordingTest, RestoreTakesOnlyAnItemDirectlyInsideTheTrash) {
    struct Case {
        const char* what;
        std::string relativeToFiles;  // the forged place, below Trash/files
    };
    for (const auto& c : std::vector<Case>{{"files folder", ""}, {"deeper item", "/a/inner"}}) {
        HistoryHome h({"a"});
        ASSERT_EQ(h.clean("a").status, 0);
        const std::string forged = h.trashFiles + c.relativeToFiles;
        nlohmann::json j = h.history();
        auto& item = j[0]["cleanedItems"][0];
        item["destinationURL"] = FileURL(forged, true).absoluteString();
        item["restoreSourceIdentity"] = nlohmann::json(*captureIdentity(forged));
        h.writeHistory(j);
        fs::remove(h.folder + "/cleanup-audit-head.json");

        const Outcome o = h.velmora({"restore", "--last", "--yes"});
        EXPECT_EQ(o.status, 1) << c.what << "\n" << o.out << o.err;
        EXPECT_NE(o.out.find("not an item directly inside the Trash's files folder"),
                  std::string::npos)
            << c.what << "\n"
            << o.out;
        EXPECT_TRUE(fs::is_directory(forged)) << c.what;
        EXPECT_TRUE(fs::exists(h.trashFiles + "/a/inner/data")) << c.what;
        EXPECT_FALSE(fs::exists(h.cache("a"))) << c.what;
    }
}

TEST(HistoryRecordingTest, RestoreFromALinkedTrashSaysTheTrashIsALink) {
    HistoryHome h({"a"});
    ASSERT_EQ(h.clean("a").status, 0);
    const std::string trash = h.dataHome + "/Trash";
    fs::rename(trash, h.dataHome + "/RealTrash");
    fs::create_directory_symlink(h.dataHome + "/RealTrash", trash);

    const Outcome o = h.velmora({"restore", "--last", "--yes"});
    EXPECT_EQ(o.status, 1) << o.err;
    EXPECT_NE(o.out.find("the Trash folder " + trash + " is a symbolic link"), std::string::npos)
        << o.out;
    EXPECT_EQ(o.out.find("outside the active scan scope"), std::string::npos) << o.out;
    EXPECT_FALSE(fs::exists(h.cache("a")));
}

}  // namespace
}  // namespace velmora
