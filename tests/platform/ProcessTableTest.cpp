#include <gtest/gtest.h>

#include "CleanerCore/platform/DesktopEntry.h"
#include "CleanerCore/platform/ProcessTable.h"

namespace velmora {
namespace {

TEST(ProcessTableTest, ParsesStatAfterTheLastParenthesis) {
    const auto stat = parseProcessStat(
        "42 (we (ird) name) S 1 1 1 0 -1 0 0 0 0 0 7 5 0 0 20 0 1 0 9000 100 33 1 2\n");
    ASSERT_TRUE(stat);
    EXPECT_EQ(*stat, (ProcessStat{9000, 12, 33}));
    EXPECT_EQ(parseProcessStat("42 (x) S 1 1 1 0 -1 0 0 0 0 0 7 5 0 0 20 0 1 0 9000 100 -1")
                  ->residentPages,
              0u);
    for (const char* bad : {"", "42 x S 1", "42 (x) S 1 1 1 0 -1 0 0 0 0 0 7",
                            "42 (x) S 1 1 1 0 -1 0 0 0 0 0 a 5 0 0 20 0 1 0 9000 100 3"})
        EXPECT_FALSE(parseProcessStat(bad)) << bad;
}

TEST(ProcessTableTest, ReadsTheRealUserID) {
    EXPECT_EQ(parseStatusUserID("Name:\tx\nUid:\t1000\t0\t0\t0\n"), 1000u);
    EXPECT_FALSE(parseStatusUserID("Name:\tx\n"));
    EXPECT_FALSE(parseStatusUserID("Uid:\tnobody\n"));
}

TEST(ProcessTableTest, FindsTheApplicationScope) {
    const std::string prefix = "0::/user.slice/user-1000.slice/user@1000.service/app.slice/";
    struct Case {
        std::string unit;
        std::optional<std::string> id;
    } cases[] = {
        {"app-gnome-org.gnome.Terminal-4711.scope", "org.gnome.Terminal"},
        {"app-org.mozilla.firefox-12.scope", "org.mozilla.firefox"},
        {"app-flatpak-org.gimp.GIMP-3.scope", "org.gimp.GIMP"},
        {"app-kde-org.kde.dolphin@a1b2.service", "org.kde.dolphin"},
        {"app-org.example.Editor@7.service", "org.example.Editor"},
        {"app-gnome-my\\x2dtool-5.scope", "my-tool"},
        {"app-gnome-gnome\\x2dterminal-99.scope", "gnome-terminal"},
        {"session-2.scope", std::nullopt},
        {"app-.scope", std::nullopt},
        {"app-noinstance.scope", std::nullopt},
        {"app-x-1.slice", std::nullopt},
        {"app-gnome-a\\x2fb-1.scope", std::nullopt},  // an escaped "/" is no desktop-file id
    };
    for (const auto& c : cases) {
        const auto scope = parseApplicationScope("1:name=systemd:/\n" + prefix + c.unit + "\n");
        EXPECT_EQ(scope ? std::optional(scope->applicationID) : std::nullopt, c.id) << c.unit;
        if (scope) {
            EXPECT_EQ(scope->unit, c.unit);
        }
    }
    EXPECT_FALSE(parseApplicationScope(""));
}

TEST(ProcessTableTest, TakesLaunchVariablesOnlyForTheLaunchedProcess) {
    using namespace std::string_literals;
    const std::string env =
        "A=1\0GIO_LAUNCHED_DESKTOP_FILE=/x/e.desktop\0"
        "GIO_LAUNCHED_DESKTOP_FILE_PID=77\0FLATPAK_ID=org.x.Y\0"s;
    EXPECT_EQ(parseLaunchEnvironment(env, 77).launchedDesktopFile, "/x/e.desktop");
    EXPECT_EQ(parseLaunchEnvironment(env, 78).launchedDesktopFile, std::nullopt);
    EXPECT_EQ(parseLaunchEnvironment(env, 78).flatpakID, "org.x.Y");
    EXPECT_EQ(parseLaunchEnvironment("GIO_LAUNCHED_DESKTOP_FILE_PID=77\0"s, 77),
              LaunchEnvironment{});
    EXPECT_EQ(parseBootTime("cpu 1 2\nbtime 1700000000\n"), 1700000000u);
    EXPECT_FALSE(parseBootTime("btime x\n"));
}

TEST(DesktopEntryTest, PicksTheBestLocalizedName) {
    const std::string text =
        "# comment\n[Desktop Entry]\nName=Files\nName[de]=Dateien\nName[pt_BR]=Arquivos\n"
        "Name[sr@latin]=Datoteke\nName[sr]=Датотеке\n[Desktop Action new]\nName[fr]=Nouveau\n";
    struct Case {
        std::vector<std::string> locales;
        std::string expected;
    } cases[] = {
        {{}, "Files"},
        {{"de_AT.UTF-8"}, "Dateien"},
        {{"pt_BR.UTF-8"}, "Arquivos"},
        {{"pt_PT"}, "Files"},
        {{"sr_RS@latin"}, "Datoteke"},
        {{"sr_RS"}, "Датотеке"},
        {{"fr_FR"}, "Files"},  // only the main group counts
        {{"it", "de"}, "Dateien"},
    };
    for (const auto& c : cases) {
        const auto entry = parseDesktopEntry(text, "files", c.locales);
        ASSERT_TRUE(entry);
        EXPECT_EQ(entry->name, c.expected);
    }
}

TEST(DesktopEntryTest, ReadsVisibilityAndRefusesBrokenNames) {
    auto parse = [](const std::string& body) { return parseDesktopEntry(body, "x", {}); };
    EXPECT_FALSE(parse("Name=No group\n"));
    EXPECT_TRUE(parse("[Desktop Entry]\nNoDisplay=true\nName=A\n")->noDisplay);
    EXPECT_TRUE(parse("[Desktop Entry]\nHidden=true\n")->hidden);
    EXPECT_FALSE(parse("[Desktop Entry]\nNoDisplay=1\n")->noDisplay);
    EXPECT_EQ(parse("[Desktop Entry]\nName=\xff\xfe\n")->name, std::nullopt);
    EXPECT_EQ(parse("[Desktop Entry]\nName=  \n")->name, std::nullopt);
    EXPECT_EQ(parse("[Desktop Entry]\nName=\xc2\x85x\n")->name, std::nullopt);  // C1 control
    EXPECT_EQ(parse("[Desktop Entry]\nName=a\\sb\\\\c\n")->name, "a b\\c");
    EXPECT_EQ(parse("[Desktop Entry]\nName=First\nName=Second\n")->name, "First");
    EXPECT_EQ(parse("[Desktop Entry]\nName=" + std::string(1000, 'n') + "\n")->name->size(), 256u);
    // A cut never splits a character.
    const auto cut = parse("[Desktop Entry]\nName=" + std::string(255, 'n') + "\u00e9\n")->name;
    EXPECT_EQ(cut->size(), 255u);
}

}  // namespace
}  // namespace velmora
