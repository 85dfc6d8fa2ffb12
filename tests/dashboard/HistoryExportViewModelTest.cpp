// Exporting the history from the application: the file is written where the person chose, or
// one sentence says why not, and a refused destination is left exactly as it was.
#include "VelmoraUI/dashboard/HistoryExportViewModel.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "dashboard/ViewModelHarness.h"
#include "support/Files.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using test::waitFor;

TEST(HistoryExportViewModelTest, WritesTheChosenFileOrSaysWhyNot) {
    struct Case {
        const char* name;
        ExportFormat format;
        bool redacted;
        std::string destination;  // below the test's folder
        std::string sentence;     // with "@" for the destination's full path
        bool written;
    };
    const std::vector<Case> cases = {
        {"full JSON", ExportFormat::json, false, "out/history.json",
         "The history was exported to @.", true},
        {"redacted CSV", ExportFormat::csv, true, "out/history.csv",
         "The redacted history was exported to @; review it before sharing.", true},
        {"a symbolic link", ExportFormat::json, false, "out/link.json",
         "@ is a symbolic link, which is never followed; nothing was exported.", false},
        {"a folder", ExportFormat::json, false, "out",
         "@ is not a regular file (a folder, a FIFO or a device); nothing was exported.", false},
        {"a missing folder", ExportFormat::json, false, "missing/history.json",
         "The export could not be written to @ (No such file or directory); nothing was "
         "replaced.",
         false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        test::ViewModelHome h;
        const std::string out = h.tree.dir("out");
        const std::string target = h.tree.file("target.json", 3);
        fs::create_symlink(target, out + "/link.json");
        const std::string path = h.tree.path(c.destination);

        HistoryExportViewModel vm(h.environment());
        ASSERT_TRUE(vm.startExport(c.format, c.redacted, path));
        EXPECT_TRUE(vm.isBusy());
        EXPECT_FALSE(vm.startExport(c.format, c.redacted, path));  // one at a time
        ASSERT_TRUE(waitFor(&vm, &HistoryExportViewModel::exportFinished));
        EXPECT_FALSE(vm.isBusy());

        std::string sentence = c.sentence;
        sentence.replace(sentence.find('@'), 1, path);
        EXPECT_EQ(vm.message(AppLanguage::english), sentence);
        ASSERT_TRUE(vm.outcome().has_value());
        EXPECT_EQ(!vm.outcome()->failure, c.written);
        if (c.written) {
            const std::string text = test::readFile(path);
            EXPECT_EQ(text.front() == '{', c.format == ExportFormat::json) << text;
        }
        EXPECT_EQ(test::readFile(target).size(), 3u);  // what a link points to is never touched
    }
}

}  // namespace
}  // namespace velmora
