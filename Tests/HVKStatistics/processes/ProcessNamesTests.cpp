// What processes are called, where their programs lie, and their types.

#include "HVKStatistics/processes/ProcessNames.h"

#include <gtest/gtest.h>

#include "HVKStatistics/processes/HVKStatisticsProcesses.h"
#include "support/WrittenMachine.h"
#include "support/WrittenProcesses.h"

namespace hvk {
namespace {

using test::process;
using test::processTable;
using test::Start;
using test::writtenMachine;

/// The item that a module makes of one written process.
std::shared_ptr<StatisticsProcessItem> itemOf(const std::string& command, const Value& more) {
    const auto machine = writtenMachine(processTable({process(50, command, 1, more)}));
    HVKStatisticsProcesses processes(*machine);
    processes.updateProcesses(Start);
    return processes.processWithPid(50);
}

TEST(ProcessNames, APathIntoABundleBecomesTheBundle) {
    const struct {
        const char* path;
        const char* cut;
    } cases[] = {
        {"/Applications/Editor.app/Contents/MacOS/Editor", "/Applications/Editor.app"},
        {"/Applications/Editor.app/Contents/MacOS/tools/helper", "/Applications/Editor.app/Contents/MacOS/tools"},
        {"/Applications/Editor.app/Contents/MacOS", "/Applications/Editor.app/Contents"},
        {"/Applications/Editor.app/Contents/MacOSX/Editor", "/Applications/Editor.app/Contents/MacOSX"},
        {"/Contents/MacOS/x", "/"},
        {"/usr/bin/cat", "/usr/bin/cat"},
        {"relative", "relative"},
    };
    for (const auto& one : cases) {
        const auto item = itemOf("cmd", {{"arguments", {one.path, one.path}}});
        EXPECT_EQ(item->path, one.cut);
        EXPECT_EQ(item->name, "cmd");
    }
    EXPECT_EQ(itemOf("cmd", {{"arguments", {""}}, {"displayName", "Nothing"}})->name, "cmd")
        << "no path, nothing to be shown for it";
    EXPECT_EQ(itemOf("cmd", {{"arguments", {{"error", "denied"}}}})->path, "");
}

TEST(ProcessNames, TheShownNameComesBeforeTheLongAndTheShortOne) {
    EXPECT_EQ(itemOf("short", nullptr)->name, "short");
    EXPECT_EQ(itemOf("short", {{"name", "a rather long name"}})->name, "a rather long name");
    EXPECT_EQ(itemOf("short", {{"name", "long"}, {"arguments", {"/a"}}, {"displayName", "Shown"}})->name, "Shown");
    EXPECT_EQ(itemOf("short", {{"name", "long"}, {"displayName", "Shown"}})->name, "long") << "shown for a path only";
}

TEST(ProcessNames, AWebApplicationIsNamedByItsBundle) {
    const Value arguments = {"/System/Web App.app/Contents/MacOS/Web App", "Web App", "--bundlepath",
                             "/Users/a/Mail.app"};
    auto item = itemOf("Web App", {{"arguments", arguments}});
    EXPECT_EQ(item->path, "/Users/a/Mail.app");
    EXPECT_EQ(item->name, "Web App");
    EXPECT_EQ(itemOf("Other", {{"arguments", arguments}})->path, "/System/Web App.app");

    const auto path = [](const Value& all) {
        const auto machine = writtenMachine(processTable({process(50, "x", 1, {{"arguments", all}})}));
        return pathForWebApp(machine->processTable(), 50);
    };
    EXPECT_EQ(path(arguments), "/Users/a/Mail.app");
    EXPECT_EQ(path({"--bundlepath", "/not/this"}), std::nullopt) << "the executable is no argument";
    EXPECT_EQ(path({"/a", "a", "--bundlepath"}), std::nullopt);
    EXPECT_EQ(path({{"error", "gone"}}), std::nullopt);
    for (const std::size_t count : {99, 100}) {
        Value many = {"/a"};
        for (std::size_t index = 2; index < count; ++index) many.push_back("x");
        many.push_back("--bundlepath");
        many.push_back("/b");
        ASSERT_EQ(many.size() - 1, count);
        EXPECT_EQ(path(many).has_value(), count == 99) << count;
    }
}

TEST(ProcessNames, TheTypeIsDecidedByTheBeginningOfTheNameThenByTheApplication) {
    const Value foreground = {{"applicationType", "Foreground"}};
    const struct {
        const char* name;
        Value more;
        int type;
    } cases[] = {
        {"kernel_task", nullptr, 1},
        {"launchd", nullptr, 2},
        {"launchd_helper", nullptr, 2},
        {"Spotlight", {{"user", 0}}, 36},
        {"spotlightknowledged", nullptr, 36},
        {"Notification Center", nullptr, 96},
        {"Notifications", nullptr, 16},
        {"Safari", {{"user", 700}}, 40},
        {"SafariBookmarks", nullptr, 40},
        {"com.apple.Safari.History", nullptr, 16},
        {"Editor", foreground, 32},
        {"Editor", {{"applicationType", "Foreground"}, {"user", 500}}, 16},
        {"Editor", {{"applicationType", "Foreground"}, {"user", 0}}, 16},
        {"Editor", {{"applicationType", "UIElement"}}, 16},
        {"Editor", {{"applicationType", {{"error", "unsupported"}}}}, 16},
    };
    for (const auto& one : cases) EXPECT_EQ(itemOf(one.name, one.more)->type, one.type) << one.name << one.more;
}

TEST(ProcessNames, NamesAreText) {
    EXPECT_EQ(stringifyProcessName(std::string_view("na\0me", 5)), "na");
    EXPECT_EQ(stringifyProcessName("Pr\xC3\xA4sident \xF0\x9F\x93\x88 \xE2\x82\xAC"),
              "Pr\xC3\xA4sident \xF0\x9F\x93\x88 \xE2\x82\xAC");
    const std::string mark = "\xEF\xBF\xBD";
    EXPECT_EQ(stringifyProcessName("a\xC3"), "a" + mark) << "cut in the middle of a character";
    EXPECT_EQ(stringifyProcessName("\xE2\x82zz"), mark + mark + "zz");
    EXPECT_EQ(stringifyProcessName("\xC0\xAF"), mark + mark) << "a longer form than needed";
    EXPECT_EQ(stringifyProcessName("\xED\xA0\x80"), mark + mark + mark) << "half of a pair";
    EXPECT_EQ(stringifyProcessName("\xF4\x90\x80\x80"), mark + mark + mark + mark) << "beyond the last";
    for (int byte = 1; byte < 256; ++byte) {
        const std::string text = stringifyProcessName(std::string(3, static_cast<char>(byte)));
        EXPECT_NO_THROW(Value(text).dump()) << byte;
    }
}

}  // namespace
}  // namespace hvk
