// Recipes of a machine: which of two is in force, and what a server's answer changes, in force and on disk.

#include "HVKStatistics/sensors/HVKStatisticsPlatform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HVKBase/Resources.h"
#include "HVKLogger/DDLog.h"
#include "HVKStatistics/sensors/RecipeFile.h"
#include "support/Hexadecimal.h"
#include "support/SavedTree.h"
#include "support/WrittenMachine.h"

namespace hvk {
namespace {

using test::writtenMachine;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* Server = "https://recipes.example";
constexpr const char* ModelAddress = "https://recipes.example/corvane7/platforms/";
constexpr const char* Support = "/home/ann/Support";
const std::string Kept = std::string(Support) + "/Corvane 7/Platform/Example13,1.recipe";

std::string recipeFile(const Value& recipe) {
    const auto file = *encodeRecipe(recipe.dump());
    return {file.begin(), file.end()};
}

Value data(const std::string& bytes) {
    return {{"$data", test::hexadecimal({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()})}};
}

std::string text(const std::vector<std::uint8_t>& bytes) { return {bytes.begin(), bytes.end()}; }

/// Resources of its own, a machine of model Example13,1, and the log.
class Platform : public testing::Test {
protected:
    Platform() {
        setResourceDirectory(resources.root());
        DDLog::setLevel(DDLogFlag::Info);
        DDLog::setSink([this](const DDLogMessage& line) { log.push_back(line.message); });
        make();
    }
    ~Platform() override {
        DDLog::setSink({});
        DDLog::setLevel(DDLogFlag::Warning);
        setResourceDirectory("");
    }

    void make(const Value& answers = Value::object()) {
        Value description = {{"system", {{"modelName", "Example13,1"}, {"operatingSystemVersion", {14, 2, 1}}}},
                             {"files", {{"applicationSupportDirectory", Support}}},
                             {"registry", {{"name", "Root"}}}};
        description.merge_patch(answers);
        platform.reset();
        machine = writtenMachine(description);
        platform = std::make_unique<HVKStatisticsPlatform>(*machine);
        platform->setServer(Server);
    }

    void builtIn(const std::string& name, const std::string& content) { resources.write("/" + name, content); }
    void downloaded(const std::string& content) {
        ASSERT_TRUE(machine->files().createDirectory(Support + std::string("/Corvane 7/Platform")));
        ASSERT_TRUE(machine->files().replace(
            Kept, std::span(reinterpret_cast<const std::uint8_t*>(content.data()), content.size())));
    }
    std::optional<std::string> kept() {
        const auto file = machine->files().read(Kept, RecipeFileLimit);
        return file ? std::optional(text(*file)) : std::nullopt;
    }

    test::SavedTree resources;
    std::vector<std::string> log;
    std::unique_ptr<RecordedMachine> machine;
    std::unique_ptr<HVKStatisticsPlatform> platform;
};

TEST_F(Platform, TheDownloadedRecipeWinsOnlyWithAHigherVersion) {
    const std::string five = recipeFile({{"version", 5}, {"from", "built in"}});
    const struct {
        const char* story;
        std::string builtIn, downloaded;
        Value inForce;
        std::vector<std::string> log;
    } cases[] = {
        {"equal",
         five,
         recipeFile({{"version", 5}, {"from", "server"}}),
         "built in",
         {"Statistics: Bundled platform exists"}},
        {"higher",
         five,
         recipeFile({{"version", 6}, {"from", "server"}}),
         "server",
         {"Statistics: Bundled platform exists", "Statistics: Recipe platform exists"}},
        {"broken download", five, "no recipe", "built in", {"Statistics: Bundled platform exists"}},
        {"broken built-in",
         "no recipe",
         recipeFile({{"version", 1}, {"from", "server"}}),
         "server",
         {"Statistics: Recipe platform exists"}},
        {"version 0 is none", "", recipeFile({{"version", 0}, {"from", "server"}}), nullptr, {}},
        {"neither", "", "", nullptr, {}},
    };
    for (const auto& one : cases) {
        make();
        log.clear();
        resources.remove("/Example13,1.recipe");
        if (!one.builtIn.empty()) builtIn("Example13,1.recipe", one.builtIn);
        if (!one.downloaded.empty()) downloaded(one.downloaded);
        platform->loadPlatform();
        const Value& inForce = platform->platform();
        EXPECT_EQ(inForce.is_null() ? Value() : inForce["from"], one.inForce) << one.story;
        EXPECT_EQ(log, one.log) << one.story;
    }
}

TEST_F(Platform, WhatCannotBeReadLeavesInForceWhatWas) {
    builtIn("Example13,1.recipe", recipeFile({{"version", 2}}));
    platform->loadPlatform();
    builtIn("Example13,1.recipe", "cut short");
    platform->loadPlatform();
    EXPECT_EQ(platform->platform()["version"], 2);
    resources.remove("/Example13,1.recipe");
    platform->loadPlatform();
    EXPECT_EQ(platform->platform()["version"], 2);

    builtIn("Other2,1.recipe", recipeFile({{"version", 9}}));
    platform->loadSimulatedPlatform("Other2,1");
    EXPECT_EQ(platform->platform()["version"], 9);
    platform->loadSimulatedPlatform("../Other2,1");
    EXPECT_EQ(platform->platform()["version"], 9) << "no name leads out of the folder";

    builtIn("global.recipe", recipeFile({{"version", 4}}));
    platform->loadGlobalPlatform();
    EXPECT_EQ(platform->globalplatform()["version"], 4);
    EXPECT_EQ(platform->platform()["version"], 9);
    builtIn("Other10,1.recipe", "");
    builtIn("notes.txt", "");
    EXPECT_THAT(platform->availablePlatforms(), ElementsAre("Other2,1", "Other10,1", "global"));
}

TEST_F(Platform, AModelIsNamedByTheMachine) {
    EXPECT_EQ(platform->modelIdentifier(), "Example13,1");
    EXPECT_EQ(platform->path(), Kept);
    EXPECT_EQ(*machine->files().names(Support + std::string("/Corvane 7")), std::vector<std::string>{"Platform"});
    make({{"registry", {{"children", {{{"name", "smc"}, {"classes", {"FakeSMC"}}}}}}}});
    EXPECT_EQ(platform->modelIdentifier(), "FauxMac");
    for (const auto& [name, identifier] :
         std::vector<std::pair<std::string, std::optional<std::string>>>{{std::string(127, 'x'), std::string(127, 'x')},
                                                                         {std::string(128, 'x'), std::nullopt},
                                                                         {"M\xC3\xA4"
                                                                          "c",
                                                                          std::nullopt}}) {
        make({{"system", {{"modelName", name}}}});
        EXPECT_EQ(platform->modelIdentifier(), identifier);
        EXPECT_EQ(platform->path().has_value(), identifier.has_value());
    }
    make({{"system", {{"modelName", "../../R720/XD"}}}});
    EXPECT_EQ(platform->path(), std::string(Support) + "/Corvane 7/Platform/..-..-R720-XD.recipe");
}

TEST_F(Platform, AServerAnswers) {
    const std::string newer = recipeFile({{"version", 8}});
    const std::string older = recipeFile({{"version", 3}});
    const std::string endless(RecipeFileLimit + 1, 'x');
    const struct {
        const char* story;
        Value answer;
        bool updated;
        int version;  ///< in force afterwards
        double after = 0.5;
        std::string onDisk = {};
    } cases[] = {
        {"newer", {{"status", 200}, {"body", data(newer)}, {"delay", 0.5}}, true, 8, 0.5, newer},
        {"older counts all the same", {{"status", 200}, {"body", data(older)}, {"delay", 0.5}}, true, 3, 0.5, older},
        {"the status does not matter", {{"status", 500}, {"body", data(newer)}, {"delay", 0.5}}, true, 8, 0.5, newer},
        {"broken", {{"status", 200}, {"body", "<html>"}}, false, 5},
        {"cut short", {{"status", 200}, {"body", data(newer.substr(0, newer.size() - 1))}}, false, 5},
        {"without a version", {{"status", 200}, {"body", data(recipeFile({{"sensors", 1}}))}}, false, 5},
        {"empty", {{"status", 204}}, false, 5},
        {"endless", {{"status", 200}, {"body", endless}}, false, 5},
        {"no network", {{"error", "absent"}}, false, 5},
        {"no answer", {{"never", true}}, false, 5, 120},
        {"an answer too late", {{"status", 200}, {"body", data(newer)}, {"delay", 121}}, false, 5, 120},
    };
    builtIn("Example13,1.recipe", recipeFile({{"version", 5}}));
    for (const auto& one : cases) {
        make({{"http", {{"answers", {{ModelAddress, one.answer}}}}}});
        platform->loadPlatform();
        std::vector<std::string> calls;
        platform->platformHandler = [&] {
            calls.push_back("handler " + platform->platform()["version"].dump() + (kept() ? " kept" : ""));
        };
        platform->updatePlatform([&](bool updated) { calls.push_back(updated ? "updated" : "not updated"); });
        EXPECT_THAT(calls, IsEmpty()) << one.story;
        if (one.after > 1) {
            machine->advance(one.after - 1);
            EXPECT_THAT(calls, IsEmpty()) << one.story;
        }
        machine->advance(one.after);
        if (one.updated)
            EXPECT_THAT(calls, ElementsAre("handler " + std::to_string(one.version), "updated")) << one.story;
        else
            EXPECT_THAT(calls, ElementsAre("not updated")) << one.story;
        EXPECT_EQ(platform->platform()["version"], one.version) << one.story;
        EXPECT_EQ(kept().value_or(""), one.onDisk) << one.story;
    }
}

TEST_F(Platform, ARequestSaysWhatTheMachineIs) {
    platform->setServer("");
    int refused = 0;
    platform->updatePlatform([&](bool updated) { refused += updated ? 0 : 1; });
    EXPECT_EQ(refused, 1) << "at once";
    EXPECT_THAT(machine->recordedHTTP().requests(), IsEmpty());

    platform->setServer("https://recipes.example/");
    platform->setPlatform({{"version", 12}});
    platform->updatePlatform({});
    platform->updateGlobalPlatform({});
    const auto requests = machine->recordedHTTP().requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].url, ModelAddress);
    EXPECT_EQ(requests[1].url, "https://recipes.example/corvane7/globalplatforms/");
    for (const auto& request : requests) {
        EXPECT_EQ(request.method, "POST");
        EXPECT_EQ(request.timeout, 120);
    }
    const Value body = {{"model", "Example13,1"}, {"version", 12}, {"major", 14}, {"minor", 2}, {"patch", 1}};
    EXPECT_EQ(Value::parse(requests[0].body), body);
    EXPECT_EQ(Value::parse(requests[1].body)["version"], 0);
    machine->advance(200);
}

TEST_F(Platform, ADiskThatRefusesTheFileDoesNotRefuseTheRecipe) {
    make({{"http", {{"answers", {{ModelAddress, {{"status", 200}, {"body", data(recipeFile({{"version", 8}}))}}}}}}},
          {"files", {{"content", {{"error", "denied"}}}}}});
    bool updated = false;
    platform->updatePlatform([&](bool answer) { updated = answer; });
    machine->advance(1);
    EXPECT_TRUE(updated);
    EXPECT_EQ(platform->platform()["version"], 8);
    EXPECT_THAT(log, testing::Contains(testing::StartsWith("Statistics: Cannot keep new platform")));
}

TEST_F(Platform, AnAnswerMayOutliveWhoAsked) {
    make({{"http", {{"answers", {{ModelAddress, {{"status", 200}, {"body", data(recipeFile({{"version", 8}}))}}}}}}}});
    bool called = false;
    platform->updatePlatform([&](bool) { called = true; });
    platform.reset();
    machine->advance(1);
    EXPECT_FALSE(called);

    platform = std::make_unique<HVKStatisticsPlatform>(*machine);
    platform->setServer(Server);
    platform->platformHandler = [this] { platform.reset(); };
    platform->updatePlatform([&](bool) { called = true; });
    machine->advance(1);
    EXPECT_FALSE(called) << "the handler ended it";
    EXPECT_FALSE(kept());
}

}  // namespace
}  // namespace hvk
