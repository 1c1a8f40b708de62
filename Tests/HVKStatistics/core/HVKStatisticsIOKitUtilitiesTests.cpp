// Walking the device tree of a recorded machine. Every test ends with the count of what is still owed.

#include "HVKStatistics/core/HVKStatisticsIOKitUtilities.h"

#include <gtest/gtest.h>

#include "support/WrittenMachine.h"

namespace hvk {
namespace {

using Utilities = HVKStatisticsIOKitUtilities;

class IOKitUtilities : public testing::Test {
protected:
    std::unique_ptr<RecordedMachine> machine = test::writtenMachine({{"registry", Value::parse(R"(
        {"name": "Root", "children": [
            {"name": "Board", "classes": ["IOPlatformExpertDevice"], "properties": {"model": "Board1,1"}, "children": [
                {"name": "bus", "location": "2", "classes": ["IOPCIDevice"],
                 "properties": {"IOName": "pci1022,1", "speed": 8}, "children": [
                    {"name": "disk", "classes": ["IOMedia"],
                     "properties": {"BSD Name": "disk0", "IOName": "media", "own": true}, "children": [
                        {"name": "part", "classes": ["IOMedia"], "properties": {"BSD Name": "disk0s1"}},
                        {"name": "part", "location": "2", "classes": ["IOMedia"],
                         "properties": {"BSD Name": "disk0s2", "IOName": "last"}}]}]},
                {"name": "fan", "classes": ["IOService"], "properties": {"rpm": 900}}]}]})")}});
    TreeRegistry& tree = machine->treeRegistry();
    RegistryPort& registry = machine->registry();

    /// A reference of the test's own.
    RegistryReference at(const std::string& path) { return {registry, Utilities::objectAtPath(registry, path)}; }
    const std::string bus = "IOService:/Board/bus@2";
    const std::string disk = "IOService:/Board/bus@2/disk";

    void TearDown() override {
        EXPECT_EQ(tree.liveHandles(), 0U) << "a reference was kept";
        EXPECT_EQ(tree.overReleases(), 0U) << "a reference was given back twice";
    }
};

std::vector<std::string> pathsOf(Utilities iterator) {
    std::vector<std::string> paths;
    while (iterator.nextObject() != 0) paths.push_back(iterator.objectPath().value_or("?"));
    return paths;
}

TEST_F(IOKitUtilities, FindsWhatIsAskedFor) {
    using Paths = std::vector<std::string>;
    const Paths media{disk, disk + "/part", disk + "/part@2"};
    EXPECT_EQ(pathsOf(Utilities::iteratorWithBSDNameMatch(registry, "disk0s2")), Paths{disk + "/part@2"});
    EXPECT_EQ(pathsOf(Utilities::initWithBSDNameMatch(registry, "disk0")), Paths{disk});
    EXPECT_EQ(pathsOf(Utilities::iteratorWithServiceNameMatch(registry, "fan")), Paths{"IOService:/Board/fan"});
    EXPECT_EQ(pathsOf(Utilities::initWithServiceNameMatch(registry, "disk")), Paths{disk});
    EXPECT_EQ(pathsOf(Utilities::iteratorWithServiceMatch(registry, "IOMedia")), media);
    EXPECT_EQ(pathsOf(Utilities::initWitServicehMatch(registry, "IOPCIDevice")), Paths{bus});
    EXPECT_EQ(pathsOf(Utilities::iteratorWithMatch(registry, {{"IOProviderClass", "IOMedia"}, {"IOName", "last"}})),
              Paths{disk + "/part@2"});
    EXPECT_EQ(pathsOf(Utilities::initWithMatch(registry, nullptr)), Paths{});

    const auto board = at("IOService:/Board");
    EXPECT_EQ(pathsOf(Utilities::childIteratorFromObject(registry, board.get())), (Paths{bus, "IOService:/Board/fan"}));
    EXPECT_EQ(pathsOf(Utilities::initWithDeepChildIteratorFromObject(registry, board.get())),
              (Paths{bus, disk, disk + "/part", disk + "/part@2", "IOService:/Board/fan"}));
    EXPECT_EQ(pathsOf(Utilities::childIteratorFromObject(registry, 0)), Paths{});
    EXPECT_EQ(pathsOf(Utilities::initWithDeepChildIteratorFromObject(registry, 0)), Paths{});
}

TEST_F(IOKitUtilities, AnIteratorOwnsItsEntryUntilItAdvances) {
    auto iterator = Utilities::iteratorWithServiceMatch(registry, "IOMedia");
    EXPECT_EQ(iterator.object(), 0U);
    EXPECT_FALSE(iterator.objectPath() || iterator.objectName() || iterator.objectID());
    EXPECT_TRUE(iterator.propertyWithKey("own").is_null());
    EXPECT_EQ(tree.liveReferences(), 1U) << "the iterator alone";

    const RegistryHandle first = iterator.nextObject();
    EXPECT_EQ(first, iterator.object());
    EXPECT_EQ(iterator.objectName(), "disk");
    EXPECT_EQ(iterator.objectID(), std::to_string(tree.nodeAtPath(disk)));
    EXPECT_EQ(iterator.propertyWithKey("own"), true);
    EXPECT_TRUE(iterator.propertyWithKey("other").is_null());
    EXPECT_EQ(tree.liveReferences(), 2U);

    registry.retain(first);
    const RegistryReference kept(registry, first);
    EXPECT_EQ(iterator.next(), (Value{{"BSD Name", "disk0s1"}}));
    EXPECT_EQ(iterator.objectName(), "part") << "the entry stays at hand";
    EXPECT_EQ(tree.liveReferences(), 3U) << "iterator, its entry, and the one that was retained";
    iterator.reset();
    EXPECT_EQ(iterator.objectPath(), disk + "/part") << "until the next advance";
    EXPECT_EQ(iterator.next()["BSD Name"], "disk0");

    Utilities moved = std::move(iterator);
    EXPECT_EQ(moved.next()["BSD Name"], "disk0s1");
    moved.finish();
    EXPECT_EQ(tree.liveReferences(), 1U);
    EXPECT_EQ(moved.object(), 0U);
    EXPECT_TRUE(moved.next().is_null());
    moved.reset();
    moved.finish();
}

TEST_F(IOKitUtilities, TheEndIsNullAndAMissingNameIsNot) {
    EXPECT_TRUE(Utilities::iteratorWithBSDNameMatch(registry, "disk9").next().is_null());

    auto named = Utilities::iteratorWithServiceMatch(registry, "IOMedia");
    EXPECT_EQ(named.nextName(), (Value{{"IOName", "media"}}));
    EXPECT_EQ(named.nextName(), Value::object()) << "a loop goes on here";
    EXPECT_EQ(named.nextName(), (Value{{"IOName", "last"}}));
    EXPECT_TRUE(named.nextName().is_null());
    EXPECT_EQ(named.object(), 0U);
    EXPECT_EQ(tree.liveReferences(), 1U) << "the last entry is released at the end";

    Utilities empty(registry);
    EXPECT_EQ(empty.nextObject(), 0U);
    EXPECT_TRUE(empty.nextName().is_null());
}

TEST_F(IOKitUtilities, ChildrenByIndexAreThereForOneOnly) {
    const auto board = at("IOService:/Board");
    EXPECT_FALSE(Utilities::childIteratorFromObject(registry, board.get(), 0));
    EXPECT_FALSE(Utilities::childIteratorFromObject(registry, board.get(), -3));
    auto one = Utilities::childIteratorFromObject(registry, board.get(), 1);
    ASSERT_TRUE(one);
    EXPECT_EQ(pathsOf(std::move(*one)).size(), 2U);
    for (const std::int64_t count : {std::int64_t{2}, std::int64_t{3}, INT64_MAX}) {
        auto several = Utilities::childIteratorFromObject(registry, board.get(), count);
        ASSERT_TRUE(several);
        EXPECT_EQ(several->nextObject(), 0U);
    }
}

TEST_F(IOKitUtilities, StepsUpAndDownHandOverOneReference) {
    const auto entry = at(disk);
    struct Case {
        RegistryHandle (*step)(RegistryPort&, std::int64_t, RegistryHandle);
        std::int64_t index;
        std::string path;
    };
    const Case cases[] = {
        {&Utilities::parentAtIndex, 0, disk},          {&Utilities::parentAtIndex, -1, disk},
        {&Utilities::parentAtIndex, 1, bus},           {&Utilities::parentAtIndex, 2, "IOService:/Board"},
        {&Utilities::parentAtIndex, 3, "IOService:/"}, {&Utilities::parentAtIndex, 4, ""},
        {&Utilities::parentAtIndex, INT64_MAX, ""},    {&Utilities::childAtIndex, 0, disk},
        {&Utilities::childAtIndex, 1, disk + "/part"}, {&Utilities::childAtIndex, 2, ""},
        {&Utilities::childAtIndex, INT64_MAX, ""},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.path + " at " + std::to_string(one.index));
        const std::size_t before = tree.liveReferences();
        const RegistryHandle found = one.step(registry, one.index, entry.get());
        EXPECT_EQ(found == 0, one.path.empty());
        EXPECT_EQ(tree.liveReferences(), before + (found == 0 ? 0 : 1));
        EXPECT_EQ(Utilities::pathForObject(registry, found).value_or(""), one.path);
        registry.release(found);
        EXPECT_EQ(tree.liveReferences(), before);
        EXPECT_EQ(one.step(registry, one.index, 0), 0U);
    }
}

TEST_F(IOKitUtilities, DictionariesLeaveNoReferenceBehind) {
    const auto entry = at(disk);
    const Value busProperties{{"IOName", "pci1022,1"}, {"speed", 8}};
    EXPECT_EQ(Utilities::dictionaryWithMatch(registry, {{"IOProviderClass", "IOPCIDevice"}}), busProperties);
    EXPECT_TRUE(Utilities::dictionaryWithMatch(registry, {{"IOProviderClass", "IOFireWire"}}).is_null());
    EXPECT_EQ(Utilities::propertiesFromObjectAtPath(registry, bus), busProperties);
    EXPECT_TRUE(Utilities::propertiesFromObjectAtPath(registry, "IOService:/Board/nothing").is_null());
    EXPECT_EQ(Utilities::property(registry, "BSD Name", entry.get()), "disk0");
    EXPECT_TRUE(Utilities::property(registry, "speed", entry.get()).is_null());
    EXPECT_EQ(Utilities::propertiesFromObject(registry, entry.get())["own"], true);
    EXPECT_EQ(Utilities::nameForObject(registry, entry.get()), "disk");
    EXPECT_EQ(Utilities::dictionaryForParentOfObject(registry, entry.get()), busProperties);
    EXPECT_TRUE(Utilities::dictionaryForParentOfObject(registry, at("IOService:/").get()).is_null());
    EXPECT_EQ(Utilities::dictionaryForParentAtIndex(registry, 2, entry.get()), (Value{{"model", "Board1,1"}}));
    EXPECT_TRUE(Utilities::dictionaryForParentAtIndex(registry, 9, entry.get()).is_null());
    EXPECT_EQ(Utilities::dictionaryForChildAtIndex(registry, 1, entry.get()), (Value{{"BSD Name", "disk0s1"}}));
    EXPECT_TRUE(Utilities::dictionaryForChildAtIndex(registry, 2, entry.get()).is_null());
    EXPECT_EQ(tree.liveReferences(), 1U);
}

TEST_F(IOKitUtilities, SearchesAboveTheEntryUpToTheLimit) {
    const auto entry = at(disk);
    const auto search = [&](const char* key, std::int64_t limit) {
        return Utilities::searchForKeyInParents(registry, key, limit, entry.get());
    };
    EXPECT_EQ(search("speed", 1), 8);
    EXPECT_EQ(search("IOName", 5), "pci1022,1") << "the nearest, and not the entry's own";
    EXPECT_TRUE(search("own", 10).is_null());
    EXPECT_TRUE(search("model", 1).is_null());
    EXPECT_EQ(search("model", 2), "Board1,1");
    EXPECT_TRUE(search("nothing", INT64_MAX).is_null());
    EXPECT_TRUE(search("speed", 0).is_null());
    EXPECT_TRUE(search("speed", -1).is_null());
    EXPECT_TRUE(Utilities::searchForKeyInParents(registry, "speed", 3, 0).is_null());
    EXPECT_EQ(tree.liveReferences(), 1U);
}

TEST_F(IOKitUtilities, WhatVanishedAnswersNothing) {
    auto media = Utilities::iteratorWithServiceMatch(registry, "IOMedia");
    ASSERT_NE(media.nextObject(), 0U);
    const auto part = at(disk + "/part");
    tree.remove(tree.nodeAtPath(disk));

    EXPECT_FALSE(media.objectPath() || media.objectName() || media.objectID());
    EXPECT_TRUE(media.propertyWithKey("own").is_null());
    EXPECT_TRUE(media.next().is_null());
    EXPECT_EQ(Utilities::parentAtIndex(registry, 1, part.get()), 0U);
    EXPECT_TRUE(Utilities::propertiesFromObject(registry, part.get()).is_null());
    EXPECT_TRUE(Utilities::searchForKeyInParents(registry, "speed", 5, part.get()).is_null());
    EXPECT_FALSE(Utilities::pathForObject(registry, part.get()));
    registry.release(Utilities::parentAtIndex(registry, 0, part.get()));
}

TEST_F(IOKitUtilities, ARegistryThatFailsMakesEmptyIterators) {
    UnsupportedRegistryPort nothing;
    EXPECT_TRUE(Utilities::iteratorWithServiceMatch(nothing, "IOMedia").next().is_null());
    EXPECT_TRUE(Utilities::dictionaryWithMatch(nothing, {{"IOProviderClass", "IOMedia"}}).is_null());
    EXPECT_EQ(Utilities::objectAtPath(nothing, bus), 0U);
    EXPECT_EQ(Utilities::parentAtIndex(nothing, 2, 7), 0U);
}

}  // namespace
}  // namespace hvk
