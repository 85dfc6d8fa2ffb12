// A count of one reads as one in every language: the English sentence takes its singular, and
// each table has a singular template ahead of the plural one that would otherwise catch it
// ("1 Objekte", "1 éléments sur 3 déplacés").
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "VelmoraUI/dashboard/CleanupTexts.h"
#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/CleanupReviewProfile.h"

namespace velmora {
namespace {

using L = AppLanguage;

TEST(CountTextsTest, OneIsSingularInEveryLanguage) {
    struct Case {
        std::string shown;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {lastScanSummaryText(1, 12'000, L::english),
         "Last scan: 1 item, 12.0 kB can be reclaimed."},
        {lastScanSummaryText(1, 12'000, L::german),
         "Letzter Scan: 1 Objekt, 12.0 kB können freigegeben werden."},
        {lastScanSummaryText(2, 12'000, L::german),
         "Letzter Scan: 2 Objekte, 12.0 kB können freigegeben werden."},
        {lastScanSummaryText(1, 12'000, L::french),
         "Dernière analyse : 1 élément, 12.0 kB peuvent être libérés."},
        {lastScanSummaryText(1, 12'000, L::spanish),
         "Último análisis: 1 elemento; se pueden recuperar 12.0 kB."},
        {lastScanSummaryText(1, 12'000, L::japanese),
         "前回の検査: 1 項目、12.0 kB を空けられます。"},
        {scanProgressCountsText(1, 0, L::german), "1 Objekt angesehen, 0 gefunden"},
        {scanProgressCountsText(3, 1, L::french), "3 éléments examinés, trouvés : 1"},
        {scanProgressCountsText(1, 1, L::spanish), "1 elemento revisado, encontrados: 1"},
        {reviewProfileHiddenItems(1, L::german), "1 ignoriertes/zurückgestelltes Element"},
        {localized("1 item  0 found", L::german), "1 Element  0 gefunden"},
        {localized("1 processor, 1 active", L::german), "1 Prozessor, 1 aktiv"},
        {localized("8 processors, 1 active", L::french), "8 processeurs, actifs : 1"},
        {localized("1 of 3 items moved, 1.0 kB of 3.0 kB", L::french),
         "1 élément sur 3 déplacé, 1.0 kB sur 3.0 kB"},
        {localized("Record integrity: 1 records carry no link information, so they cannot be "
                   "checked.",
                   L::spanish),
         "Integridad del registro: 1 registro no tiene información de enlace, así que no se "
         "puede comprobar."},
        {localized("1 of 3 items moved, 1.0 kB of 3.0 kB", L::german),
         "1 von 3 Objekten verschoben, 1.0 kB von 3.0 kB"},
    };
    for (const Case& c : cases) EXPECT_EQ(c.shown, c.expected);
}

}  // namespace
}  // namespace velmora
