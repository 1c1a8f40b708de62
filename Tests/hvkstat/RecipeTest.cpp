// `hvkstat recipe`: what goes in comes out again, and what is wrong is named by line and key.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "hvkstat/RecipeCheck.h"
#include "hvkstat/Stage.h"

namespace hvk::hvkstat {
namespace {

using testing::HasSubstr;

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST(HvkstatRecipe, ComesOutAsItWentIn) {
    const std::string text = "{ \"version\" : 3,\n  \"sensors\": {\"supported\": []}}\n";
    const TemporaryFile source(text);
    const TemporaryDirectory folder;
    const std::string recipe = folder.path() + "/Model.recipe";
    EXPECT_EQ(run({"recipe", "encode", source.path(), recipe}).code, 0);
    EXPECT_EQ(contentOf(recipe).size() % 16, 55u % 16);
    EXPECT_EQ(run({"recipe", "decode", recipe}).output, text);
    EXPECT_THAT(run({"recipe", "check", recipe}).output, HasSubstr("no faults; version 3, 0 entries"));

    const std::string before = contentOf(recipe);
    const TemporaryFile broken("{\"version\": 3");
    const Ran refused = run({"recipe", "encode", broken.path(), recipe});
    EXPECT_EQ(refused.code, 1);
    EXPECT_THAT(refused.messages, HasSubstr("no JSON text"));
    EXPECT_EQ(contentOf(recipe), before) << "what makes no sense changes nothing";
    EXPECT_THAT(run({"recipe", "decode", source.path()}).messages, HasSubstr("a recipe has more than 55"));
    EXPECT_THAT(run({"recipe", "decode", folder.path() + "/none"}).messages, HasSubstr("(absent)"));
    EXPECT_EQ(run({"recipe", "encode", source.path(), folder.path() + "/none/x"}).code, 1);
}

TEST(HvkstatRecipe, FaultsAreNamedByLineAndKey) {
    const std::string start = "{\"version\": 1, \"sensors\": {\"supported\": [\n";
    const std::string end = "\n]}}";
    const struct {
        const char* entry;
        const char* key;
        const char* detail;
    } cases[] = {
        {R"({"key": "TC0P", "name": "CPU", "souce": "smc"})", ".souce", "did you mean \"source\"?"},
        {R"({"key": "TC0P", "name": "CPU", "colour": 1})", ".colour", "no such key"},
        {R"({"key": "TC0P", "name": 5})", ".name", "should be text, is a whole number"},
        {R"({"key": "TC0P"})", "", "has no \"name\""},
        {R"({"key": "TC0P", "name": "CPU", "name": "B"})", ".name", "is there twice"},
        {R"({"key": "TC0P", "name": "CPU", "source": "smb"})", ".source", "is no source"},
        {R"({"key": "TC0PX", "name": "CPU", "source": "smc"})", ".key", "has 4 characters"},
        {R"({"key": "A", "name": "CPU", "source": "average", "sensors": ["a"]})", "", "has no \"type\""},
        {R"({"key": "A", "name": "CPU", "source": "average", "type": 1})", "", "to take the average of"},
        {R"({"key": "A", "name": "CPU", "source": "average", "type": 1, "sensors": ["a", "a"]})", ".sensors[1]",
         "twice"},
        {R"({"key": "A", "name": "CPU", "source": "multiply", "type": 5, "sensors": ["a"]})", "", "two \"sensors\""},
        {R"({"key": "A", "name": "CPU", "type": 1.5})", ".type",
         "should be a whole number, is a number with a fraction"},
        {R"({"key": "A", "name": "CPU", "type": 10})", ".type", "should be from 0 to 9"},
        {R"({"key": "A", "name": "CPU", "low": 5, "high": 5})", ".high", "is not above"},
        {R"({"key": "A{0}", "name": "CPU"})", ".key", "no family"},
        {R"({"key": "A{0}", "name": "CPU", "dynamic-type": "cores"})", ".name", "one %@"},
        {R"({"key": "A{0}", "name": "CPU %@", "dynamic-type": "x"})", "", "has no \"limit\""},
        {R"({"key": "A{0}", "name": "CPU %@", "dynamic-type": "x", "limit": 5000})", ".limit", "from 1 to 1024"},
        {R"({"key": "A", "name": "B", "index": 1})", ".index", "set by the loader"},
        {R"([1])", "", "should be a dictionary, is a list"},
        {R"({"group": 1, "key": "fan"})", "", "has no \"sensors\""},
        {R"({"group": 1, "key": "fan", "sensors": [{"key": "F0Ac", "name": "Fan"}, {"key": "F0Ac", "name": "Fan"}]})",
         ".sensors[1].key", "twice in one group"},
    };
    for (const auto& one : cases) {
        const RecipeReport report = checkRecipe(start + one.entry + end);
        ASSERT_EQ(report.faults.size(), 1u) << one.entry;
        EXPECT_EQ(report.faults[0].line, 2u) << one.entry;
        EXPECT_EQ(report.faults[0].key, "sensors.supported[0]" + std::string(one.key)) << one.entry;
        EXPECT_THAT(report.faults[0].detail, HasSubstr(one.detail)) << one.entry;
    }
    EXPECT_TRUE(checkRecipe(start + R"({"key": "TC0P", "name": "CPU", "source": "smc", "cores": 4},
        {"key": "TC0P", "name": "CPU", "source": "smc", "cores": 6})" +
                            end)
                    .faults.empty());
    EXPECT_EQ(checkRecipe("{\n\n\"version\": 1,,}").faults.at(0).line, 3u);
    EXPECT_THAT(checkRecipe("{\"sensor\": {}}").faults.at(0).detail, HasSubstr("has no \"version\""));
    EXPECT_THAT(checkRecipe("{\"version\": 1, \"sensor\": {}}").faults.at(0).detail, HasSubstr("\"sensors\"?"));
    EXPECT_TRUE(checkRecipe("{\"version\": 1, \"bluetooth\": {\"devices\": []}}").faults.empty());
    EXPECT_THAT(checkRecipe("{\"version\": 1, \"x\": " + std::string(100'000, '[')).faults.at(0).detail,
                HasSubstr("too deeply"));
    EXPECT_EQ(checkRecipe("").faults.size(), 1u);
}

TEST(HvkstatRecipe, CheckTakesBothForms) {
    const std::string text = "{\"version\": 1,\n\"sensors\": {\"supportd\": []}}";
    const TemporaryFile plain(text);
    const TemporaryDirectory folder;
    const std::string recipe = folder.path() + "/x.recipe";
    ASSERT_EQ(run({"recipe", "encode", plain.path(), recipe}).code, 0);
    for (const std::string& path : {plain.path(), recipe}) {
        const Ran ran = run({"recipe", "check", path});
        EXPECT_EQ(ran.code, 1);
        EXPECT_THAT(ran.output, HasSubstr(path + ":2: sensors.supportd: no such key; did you mean \"supported\"?\n"));
    }
    const TemporaryFile neither(std::string(100, 'x'));
    EXPECT_THAT(run({"recipe", "check", neither.path()}).messages, HasSubstr("does not decipher"));
}

TEST(HvkstatRecipe, WrongUseIsSaid) {
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"recipe"}, "ACTION is missing; it is one of decode, encode, check"},
        {{"recipe", "chekc", "x"}, "did you mean 'check'?"},
        {{"recipe", "encode", "x"}, "recipe encode: OUT is missing"},
        {{"recipe", "decode", "x", "y"}, "'y' is one word too many"},
        {{"recipe", "decode", ""}, "the name is empty"},
    };
    for (const auto& [arguments, message] : cases) {
        const Ran ran = run(arguments);
        EXPECT_EQ(ran.code, 2);
        EXPECT_THAT(ran.messages, HasSubstr(message));
    }
}

}  // namespace
}  // namespace hvk::hvkstat
