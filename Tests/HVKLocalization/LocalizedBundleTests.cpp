// Which language a text is taken from, and what broken or missing tables come to.

#include "HVKLocalization/LocalizedBundle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HVKLocalization/HVKLocalizedString.h"
#include "support/SavedTree.h"

namespace hvk {
namespace {

using test::SavedTree;
using testing::ElementsAre;
using testing::IsEmpty;

class LocalizedBundleTest : public testing::Test {
protected:
    LocalizedBundleTest() {
        tree_.write("/en.lproj/Words.strings", "\"fan\" = \"Fan\"; \"only\" = \"Only English\";")
            .write("/de.lproj/Words.strings", "\"fan\" = \"Lüfter\";")
            .write("/de-AT.lproj/Words.strings", "\"fan\" = \"Ventilator\";")
            .write("/zh-Hant.lproj/Words.strings", "\"fan\" = \"風扇\";");
    }
    ~LocalizedBundleTest() override { setPreferredLanguages({}); }

    std::string fanIn(std::vector<std::string> languages) const {
        return word("fan", LocalizedBundle(tree_.root(), std::move(languages)));
    }
    static std::string word(std::string_view key, const LocalizedBundle& bundle) {
        return HVKLocalizedStringFromTableInBundle(key, "Words", bundle, "for translators");
    }

    SavedTree tree_;
};

TEST_F(LocalizedBundleTest, TakesTheFirstPreferredLanguageThatIsThere) {
    const struct {
        std::vector<std::string> languages;
        const char* fan;
    } cases[] = {
        {{}, "Fan"},
        {{"de"}, "Lüfter"},
        {{"de-CH"}, "Lüfter"},
        {{"de-AT"}, "Ventilator"},
        {{"de_AT"}, "Ventilator"},
        {{"zh-Hant-TW"}, "風扇"},
        {{"sv", "de"}, "Lüfter"},
        {{"en-GB", "de"}, "Fan"},
        {{"sv"}, "Fan"},
        {{"", "-", "../de", "de/", "de"}, "Lüfter"},
    };
    for (const auto& c : cases) EXPECT_EQ(fanIn(c.languages), c.fan) << testing::PrintToString(c.languages);
}

TEST_F(LocalizedBundleTest, FallsBackToEnglishAndThenToTheKey) {
    const LocalizedBundle bundle(tree_.root(), {"de"});
    EXPECT_EQ(word("only", bundle), "Only English");
    EXPECT_EQ(word("none", bundle), "none");
    EXPECT_EQ(HVKLocalizedStringFromTableInBundle("fan", "Missing", bundle), "fan");
    EXPECT_EQ(HVKLocalizedStringFromTableInBundle("fan", "../de.lproj/Words", bundle), "fan");
    EXPECT_EQ(word("fan", LocalizedBundle("", {"de"})), "fan") << "there are no resources";
}

TEST_F(LocalizedBundleTest, TheHostsChoiceComesFirst) {
    const LocalizedBundle bundle(tree_.root(), {"de"});
    setPreferredLanguages({"en"});
    EXPECT_EQ(word("fan", bundle), "Fan");
    setPreferredLanguages({"sv"});
    EXPECT_EQ(word("fan", bundle), "Lüfter") << "what the host asked for is not there";
    setPreferredLanguages({});
    EXPECT_EQ(word("fan", bundle), "Lüfter");
}

TEST_F(LocalizedBundleTest, ReportsFaultsOnceAndReadsATableOnce) {
    tree_.write("/fr.lproj/Words.strings", "\"fan\" = \"Ventilateur\";\n\"only\" = oops;\n");
    tree_.write("/es.lproj/Words.strings/in", "a directory stands in its place");
    tree_.write("/ja.lproj/Words.strings", std::string((1 << 20) + 1, ' '));
    std::vector<std::string> faults;
    const LocalizedBundle bundle(tree_.root(), {"es", "ja", "fr"},
                                 [&](const std::string& fault) { faults.push_back(fault); });
    EXPECT_THAT(faults, IsEmpty());
    EXPECT_EQ(word("fan", bundle), "Ventilateur");
    EXPECT_EQ(word("only", bundle), "Only English");
    EXPECT_THAT(faults,
                ElementsAre("es.lproj/Words.strings: it is no regular file",
                            "ja.lproj/Words.strings: it is longer than a table can be",
                            "fr.lproj/Words.strings:2: the text for \"only\" does not begin with a quotation mark"));
    tree_.remove("/fr.lproj");
    EXPECT_EQ(word("fan", bundle), "Ventilateur");
}

}  // namespace
}  // namespace hvk
