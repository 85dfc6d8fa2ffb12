// Names that break naive text handling (newline, leading dash, percent signs, invalid UTF-8, a
// 255-byte name, backslash and tab) go scan → Trash → history → restore through the real
// `velmora` command and come back byte for byte, with their content.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "CleanerCore/base/FileURL.h"
#include "cli/CommandRunner.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using test::CommandHome;
using test::Outcome;

struct HostileItem {
    std::string name;
    bool isFolder;
};

const std::vector<HostileItem>& hostileItems() {
    static const std::vector<HostileItem> items = {
        {"new\nline", true},
        {"-leading-dash", true},
        {"100%", true},
        {"a%2Fb", true},
        {"\xff\xfe", true},
        {"back\\slash\ttab", true},
        // NAME_MAX bytes: the Trash must shorten the name it files it under, and the
        // .trashinfo and the restore must still carry the whole original.
        {std::string(250, 'L') + ".data", false},
    };
    return items;
}

// The value of `key=` in a .trashinfo.
std::string trashInfoValue(const std::string& info, const std::string& key) {
    const size_t start = info.find("\n" + key + "=");
    if (start == std::string::npos) return {};
    const size_t from = start + key.size() + 2;
    return info.substr(from, info.find('\n', from) - from);
}

struct HostileHome : CommandHome {
    // Original path → content of the file it is or holds (folders hold one file named like
    // themselves, so that names inside an item are restored too).
    std::map<std::string, std::string> originals;

    HostileHome() {
        int i = 0;
        for (const auto& item : hostileItems()) {
            const std::string content = "content " + std::to_string(i++) + " of " + item.name;
            const std::string relative = item.isFolder ? item.name + "/" + item.name : item.name;
            oldCacheFile(relative, content);
            originals[homePath(".cache/" + item.name)] = content;
        }
    }

    // The items of the report, each as a `clean` argument: `--id ID` exactly as the JSON
    // carries it, except where the JSON's id text is lossy (invalid UTF-8 is written as
    // U+FFFD), where the path from the lossless URL is given instead.
    std::vector<std::string> selectionArguments(const nlohmann::json& report) {
        std::vector<std::string> args;
        for (const auto& c : report.at("candidates")) {
            const std::string id = c.at("id").get<std::string>();
            if (id.find("\xEF\xBF\xBD") != std::string::npos) {
                args.push_back(test::pathOfFileURL(c.at("url").get<std::string>()));
            } else {
                args.insert(args.end(), {"--id", id});
            }
        }
        return args;
    }
};

bool holdsOriginal(const std::string& path, const std::string& content) {
    if (fs::is_regular_file(fs::symlink_status(path))) return test::readAll(path) == content;
    return test::readAll(path + "/" + lastPathComponent(path)) == content &&
           std::distance(fs::directory_iterator(path), fs::directory_iterator{}) == 1;
}

std::map<std::string, std::string> cacheOnly(std::map<std::string, std::string> snapshot) {
    std::erase_if(snapshot, [](const auto& kv) { return !kv.first.starts_with("/.cache/"); });
    return snapshot;
}

TEST(HostileNamesTest, SurviveScanTrashHistoryAndRestoreByteForByte) {
    HostileHome h;
    const auto before = h.snapshot();

    const nlohmann::json report = h.scan();
    std::set<std::string> offered;
    for (const auto& c : report.at("candidates")) {
        offered.insert(test::pathOfFileURL(c.at("url").get<std::string>()));
    }
    std::set<std::string> expected;
    for (const auto& [path, content] : h.originals) expected.insert(path);
    ASSERT_EQ(offered, expected);

    std::vector<std::string> clean = {"clean", "--report", h.reportFile};
    const auto selection = h.selectionArguments(report);
    clean.insert(clean.end(), selection.begin(), selection.end());
    clean.insert(clean.end(), {"--yes", "--json"});
    Outcome cleaned = h.velmora(clean);
    ASSERT_EQ(cleaned.status, 0) << cleaned.err << cleaned.out;
    EXPECT_EQ(nlohmann::json::parse(cleaned.out).at("cleanedItems").size(), h.originals.size());

    // In the Trash: each .trashinfo's Path= decodes to exactly one original, and the item
    // filed beside it holds that original's content.
    std::set<std::string> trashed;
    for (const auto& e : fs::directory_iterator(h.trashInfo)) {
        const std::string infoName = e.path().filename().string();
        ASSERT_TRUE(infoName.ends_with(".trashinfo")) << infoName;
        ASSERT_LE(infoName.size(), 255u);
        const std::string path =
            test::percentDecoded(trashInfoValue(test::readAll(e.path().string()), "Path"));
        ASSERT_TRUE(h.originals.count(path)) << path;
        trashed.insert(path);
        const std::string filed =
            h.trashFiles + "/" +
            infoName.substr(0, infoName.size() - std::string(".trashinfo").size());
        const std::string& content = h.originals[path];
        if (fs::is_directory(fs::symlink_status(filed))) {
            EXPECT_EQ(test::readAll(filed + "/" + lastPathComponent(path)), content) << path;
        } else {
            EXPECT_EQ(test::readAll(filed), content) << path;
        }
        EXPECT_FALSE(fs::exists(fs::symlink_status(path))) << path;
    }
    EXPECT_EQ(trashed, expected);

    // The history holds the run with every original path, losslessly.
    Outcome history = h.velmora({"history", "--json"});
    ASSERT_EQ(history.status, 0) << history.err;
    const nlohmann::json entries = nlohmann::json::parse(history.out);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].at("operation"), "clean");
    std::set<std::string> recorded;
    for (const auto& item : entries[0].at("cleanedItems")) {
        recorded.insert(test::pathOfFileURL(item.at("candidate").at("url").get<std::string>()));
    }
    EXPECT_EQ(recorded, expected);

    Outcome restored = h.velmora({"restore", "--last", "--yes"});
    ASSERT_EQ(restored.status, 0) << restored.err << restored.out;
    for (const auto& [path, content] : h.originals) {
        EXPECT_TRUE(holdsOriginal(path, content)) << path;
    }
    EXPECT_TRUE(fs::is_empty(h.trashFiles));
    EXPECT_TRUE(fs::is_empty(h.trashInfo));

    // Everything under ~/.cache is as it was (the same objects, names, times and bytes).
    EXPECT_EQ(cacheOnly(h.snapshot()), cacheOnly(before));

    Outcome verify = h.velmora({"history", "--verify"});
    EXPECT_EQ(verify.status, 0) << verify.out << verify.err;

    // The restored items are the scanned ones, so the report still selects them, and the id the
    // JSON wrote lossily (invalid UTF-8 as U+FFFD) selects its item too.
    int lossyIds = 0;
    for (const auto& c : report.at("candidates")) {
        const std::string id = c.at("id");
        if (id.find("\xEF\xBF\xBD") == std::string::npos) continue;
        ++lossyIds;
        Outcome lossy = h.velmora({"clean", "--report", h.reportFile, "--id", id, "--yes"});
        EXPECT_EQ(lossy.status, 0) << lossy.err;
        EXPECT_FALSE(fs::exists(test::pathOfFileURL(c.at("url"))));
    }
    EXPECT_EQ(lossyIds, 1);
}

}  // namespace
}  // namespace velmora
