// Languages from the variables of a locale, and from the file in which a system keeps them.

#include "HVKPlatform/linux/parse/LocaleSettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HVKPlatform/LiveMachine.h"
#include "support/SavedTree.h"

namespace hvk {
namespace {

using testing::ElementsAre;
using Languages = std::vector<std::string>;

TEST(LocaleSettings, LanguagesAsGettextChoosesThem) {
    const struct {
        parse::LocaleSettings settings;
        Languages languages;
    } cases[] = {
        {{"", "", "", ""}, {"en"}},
        {{"", "", "de_AT.UTF-8@euro", ""}, {"de-AT"}},
        {{"", "fr_FR", "de_DE", ""}, {"fr-FR"}},
        {{"ja_JP.UTF-8", "fr_FR", "de_DE", ""}, {"ja-JP"}},
        {{"C.UTF-8", "fr_FR", "de_DE", "es:fr"}, {"en"}},
        {{"", "POSIX", "de_DE", ""}, {"en"}},
        {{"", "", "de_DE.UTF-8", "es::fr_CA.UTF-8:es:C:"}, {"es", "fr-CA", "de-DE"}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(parse::preferredLanguages(c.settings), c.languages) << testing::PrintToString(c.languages);
}

TEST(LocaleSettings, ASavedTreeTellsItsOwn) {
    test::SavedTree tree;
    tree.write("/proc/stat", "btime 1\n");
    const auto languages = [&] { return (*makeSavedMachine(tree.root()))->system().preferredLanguages(); };
    EXPECT_EQ(languages().failure().kind, FailureKind::Absent) << "the environment of the test is not the tree's";
    tree.write("/etc/default/locale", "#  LANG=ja\n export LANG='fr_FR.UTF-8'\nLC_TIME=de_DE\nLANG\n=x\n");
    EXPECT_THAT(*languages(), ElementsAre("fr-FR"));
    tree.write("/etc/locale.conf", "LANG=en_US\nLANG=\"es_ES.UTF-8\"\nLC_MESSAGES=\"\n");
    EXPECT_THAT(*languages(), ElementsAre("\"")) << "a quotation mark alone is no pair of them";
    tree.write("/etc/locale.conf", "LANG=en_US\nLANG=\"es_ES.UTF-8\"\n");
    EXPECT_THAT(*languages(), ElementsAre("es-ES"));
    tree.write("/etc/locale.conf", "LC_TIME=de_DE\n");
    EXPECT_THAT(*languages(), ElementsAre("fr-FR")) << "a file that says nothing is passed over";
}

}  // namespace
}  // namespace hvk
