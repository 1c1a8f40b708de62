// The device tree in memory: what is found, what a handle to something removed says, and that every handle is counted.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "HVKPlatform/support/TreeRegistry.h"

namespace hvk {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Kind = RegistryMatch::Kind;
using Node = TreeRegistry::Node;

/// A platform with a controller, a disk of two partitions on it, and a port of the same name as another.
class TreeRegistryTest : public testing::Test {
protected:
    Node add(Node parent, const std::string& name, const std::vector<std::string>& classes, const std::string& location,
             Value properties = Value::object()) {
        return registry.add(parent, {name,
                                     classes,
                                     location,
                                     [this, properties]() -> Result<Value> {
                                         ++readings;
                                         return properties;
                                     },
                                     {}});
    }

    /// The names that an iterator goes through; every reference is given back.
    std::vector<std::string> names(Result<RegistryHandle> iterator) {
        std::vector<std::string> found;
        if (!iterator) return {"failed: " + iterator.failure().detail};
        const RegistryReference owner(registry, *iterator);
        while (const RegistryReference entry{registry, registry.next(owner.get())})
            found.push_back(registry.name(entry.get()).valueOr("?"));
        return found;
    }

    std::vector<std::string> matching(const Value& dictionary) {
        return names(registry.matchingServices({Kind::Dictionary, {}, dictionary}));
    }

    RegistryHandle at(const std::string& path) { return registry.entryAtPath(path).valueOr(0); }

    TreeRegistry registry;
    int readings = 0;
    Node platform = add(registry.root(), "Platform", {"IOPlatformExpertDevice"}, "");
    Node controller = add(platform, "NVMe", {"AppleANS3NVMeController", "IONVMeController"}, "0",
                          {{"NVMe SMART Capable", true}, {"Device Characteristics", {{"Product Name", "SSD"}}}});
    Node disk = add(controller, "Media", {"IOMedia"}, "", {{"BSD Name", "disk0"}, {"Whole", true}});
    Node first = add(disk, "EFI", {"IOMedia"}, "1", {{"BSD Name", "disk0s1"}, {"Whole", false}});
    Node second = add(disk, "Data/Home", {"IOMedia"}, "2", {{"BSD Name", "disk0s2"}, {"Whole", false}});
    Node leftPort = add(platform, "port", {"AppleUSBHostPort"}, "left");
    Node rightPort = add(platform, "port", {"AppleUSBHostPort"}, "right");
};

TEST_F(TreeRegistryTest, MatchesInTreeOrder) {
    EXPECT_THAT(names(registry.matchingServices({Kind::BSDName, "disk0s1", {}})), ElementsAre("EFI"));
    EXPECT_THAT(names(registry.matchingServices({Kind::ServiceName, "port", {}})), ElementsAre("port", "port"));
    EXPECT_THAT(names(registry.matchingServices({Kind::Class, "IOMedia", {}})),
                ElementsAre("Media", "EFI", "Data/Home"));
    EXPECT_THAT(names(registry.matchingServices({Kind::Class, "IONVMeController", {}})), ElementsAre("NVMe"));
    EXPECT_THAT(names(registry.matchingServices({Kind::Class, "IOService", {}})),
                ElementsAre("Platform", "NVMe", "Media", "EFI", "Data/Home", "port", "port"));
    EXPECT_THAT(names(registry.matchingServices({Kind::BSDName, "disk9", {}})), IsEmpty());
}

TEST_F(TreeRegistryTest, MatchesAllKeysOfADictionary) {
    EXPECT_THAT(matching({{"IOProviderClass", "IOMedia"}, {"Whole", true}}), ElementsAre("Media"));
    EXPECT_THAT(matching({{"IOPropertyMatch", {{"NVMe SMART Capable", true}}}}), ElementsAre("NVMe"));
    EXPECT_THAT(matching({{"IOPropertyMatch", {{"Device Characteristics", {{"Product Name", "SSD"}}}}}}),
                ElementsAre("NVMe"));
    EXPECT_THAT(matching({{"IOPropertyMatch", {{"NVMe SMART Capable", true}, {"Whole", true}}}}), IsEmpty());
    EXPECT_THAT(matching({{"IONameMatch", Value::array({"EFI", "NVMe"})}}), ElementsAre("NVMe", "EFI"));
    EXPECT_THAT(matching({{"BSD Name", "disk0s2"}, {"IONameMatch", "EFI"}}), IsEmpty());
    EXPECT_THAT(matching({{"IOProviderClass", 7}}), IsEmpty());
    EXPECT_EQ(registry.matchingServices({Kind::Dictionary, {}, "text"}).failure().kind, FailureKind::Malformed);

    readings = 0;
    EXPECT_THAT(matching({{"BSD Name", "disk0"}, {"IOProviderClass", "AppleUSBHostPort"}}), IsEmpty());
    EXPECT_EQ(readings, 2) << "properties of an entry of another class must not be read";
}

TEST_F(TreeRegistryTest, LooksPathsUp) {
    const struct {
        const char* path;
        Node node;
    } cases[] = {
        {"IOService:/", registry.root()},
        {"IOService:/Platform/NVMe@0/Media/EFI@1", first},
        {"IOService:/Platform/NVMe/Media/EFI", first},
        {"IOService:/Platform/NVMe@0/Media/Data/Home@2", second},
        {"IOService:/Platform/port", leftPort},
        {"IOService:/Platform/port@right", rightPort},
        {"IOService:/Platform/port@up", 0},
        {"IOService:/Platform/", 0},
        {"IOService:/Plat", 0},
        {"IOService://Platform", 0},
    };
    for (const auto& one : cases) {
        const auto entry = registry.entryAtPath(one.path);
        ASSERT_EQ(entry.hasValue(), one.node != 0) << one.path;
        if (!entry) {
            EXPECT_EQ(entry.failure().kind, FailureKind::Absent);
            continue;
        }
        const RegistryReference owner(registry, *entry);
        EXPECT_EQ(*registry.entryID(*entry), one.node) << one.path;
        EXPECT_EQ(registry.nodeAtPath(*registry.path(*entry)), one.node) << "a path leads back";
    }
    EXPECT_EQ(registry.entryAtPath("IOUSB:/Platform").failure().kind, FailureKind::Malformed);
    EXPECT_EQ(registry.liveHandles(), 0U);
}

TEST_F(TreeRegistryTest, AnswersWhatAnEntryIs) {
    const RegistryReference root(registry, at("IOService:/"));
    const RegistryReference nvme(registry, at("IOService:/Platform/NVMe"));
    EXPECT_EQ(*registry.className(root.get()), "IORegistryEntry");
    EXPECT_FALSE(registry.conformsTo(root.get(), "IOService"));
    EXPECT_TRUE(registry.conformsTo(root.get(), "IORegistryEntry"));
    EXPECT_EQ(registry.parent(root.get()).failure().kind, FailureKind::Absent);
    EXPECT_EQ(*registry.className(nvme.get()), "AppleANS3NVMeController");
    for (const char* name : {"AppleANS3NVMeController", "IONVMeController", "IOService", "IORegistryEntry"})
        EXPECT_TRUE(registry.conformsTo(nvme.get(), name)) << name;
    EXPECT_FALSE(registry.conformsTo(nvme.get(), "IOMedia"));

    const RegistryReference child(registry, *registry.child(nvme.get()));
    const RegistryReference parent(registry, *registry.parent(child.get()));
    EXPECT_EQ(parent.get(), nvme.get()) << "one entry, one handle";
    EXPECT_THAT(names(registry.childIterator(child.get())), ElementsAre("EFI", "Data/Home"));
    EXPECT_THAT(names(registry.descendantIterator(nvme.get())), ElementsAre("Media", "EFI", "Data/Home"));
}

TEST_F(TreeRegistryTest, ReadsPropertiesAnewEachTime) {
    const RegistryReference media(registry, at("IOService:/Platform/NVMe/Media"));
    EXPECT_EQ(*registry.property(media.get(), "BSD Name"), "disk0");
    EXPECT_EQ(registry.property(media.get(), "Serial").failure().kind, FailureKind::Absent);
    EXPECT_EQ(registry.properties(media.get())->size(), 2U);
    EXPECT_EQ(readings, 3);

    int whole = 0;
    registry.replace(disk, {"Media",
                            {"IOMedia"},
                            "",
                            [&]() -> Result<Value> {
                                ++whole;
                                return Value::array();
                            },
                            [](const std::string& key) -> Result<Value> {
                                if (key == "secret") return Failure{FailureKind::Denied, "sysfs", "for root only"};
                                if (key == "broken") throw std::runtime_error("no digits");
                                return key == "Size" ? Value(512) : Value();
                            }});
    EXPECT_EQ(*registry.property(media.get(), "Size"), 512);
    EXPECT_EQ(registry.property(media.get(), "BSD Name").failure().kind, FailureKind::Absent);
    EXPECT_EQ(registry.property(media.get(), "secret").failure().kind, FailureKind::Denied);
    EXPECT_EQ(registry.property(media.get(), "broken").failure().kind, FailureKind::Malformed);
    EXPECT_EQ(whole, 0) << "one property must not cost all";
    EXPECT_EQ(registry.properties(media.get()).failure().kind, FailureKind::Malformed) << "an array is no dictionary";
    EXPECT_EQ(readings, 3);
}

TEST_F(TreeRegistryTest, SaysGoneOfWhatWasRemoved) {
    const RegistryReference media(registry, at("IOService:/Platform/NVMe/Media"));
    const RegistryReference efi(registry, at("IOService:/Platform/NVMe/Media/EFI"));
    registry.remove(disk);
    for (const RegistryHandle handle : {media.get(), efi.get()}) {
        EXPECT_EQ(registry.properties(handle).failure().kind, FailureKind::Gone);
        EXPECT_EQ(registry.property(handle, "BSD Name").failure().kind, FailureKind::Gone);
        EXPECT_EQ(registry.name(handle).failure().kind, FailureKind::Gone);
        EXPECT_EQ(registry.className(handle).failure().kind, FailureKind::Gone);
        EXPECT_EQ(registry.path(handle).failure().kind, FailureKind::Gone);
        EXPECT_EQ(registry.entryID(handle).failure().kind, FailureKind::Gone);
        EXPECT_EQ(registry.parent(handle).failure().kind, FailureKind::Gone);
        EXPECT_EQ(registry.child(handle).failure().kind, FailureKind::Gone);
        EXPECT_EQ(registry.descendantIterator(handle).failure().kind, FailureKind::Gone);
        EXPECT_FALSE(registry.conformsTo(handle, "IOMedia"));
    }
    EXPECT_EQ(registry.liveHandles(), 2U) << "they are still owed";
    const Node again = add(controller, "Media", {"IOMedia"}, "", {});
    EXPECT_GT(again, rightPort) << "a number is not used twice";
    EXPECT_EQ(registry.name(media.get()).failure().kind, FailureKind::Gone);
    EXPECT_EQ(registry.add(disk, {}), 0U) << "nothing can be put below what is gone";
    registry.remove(registry.root());
    EXPECT_EQ(registry.entryCount(), 5U);
}

TEST_F(TreeRegistryTest, IteratorsPassOverWhatWasRemoved) {
    const RegistryReference iterator(registry, *registry.matchingServices({Kind::Class, "IOMedia", {}}));
    RegistryReference entry(registry, registry.next(iterator.get()));
    EXPECT_EQ(*registry.name(entry.get()), "Media");
    registry.remove(first);
    entry = RegistryReference(registry, registry.next(iterator.get()));
    EXPECT_EQ(*registry.name(entry.get()), "Data/Home");
    EXPECT_EQ(registry.next(iterator.get()), 0U);
    registry.remove(second);
    registry.reset(iterator.get());
    entry = RegistryReference(registry, registry.next(iterator.get()));
    EXPECT_EQ(*registry.name(entry.get()), "Media");
    EXPECT_EQ(registry.next(iterator.get()), 0U);
}

TEST_F(TreeRegistryTest, RemovedWhileItIsReadIsGone) {
    const Node fleeting = registry.add(platform, {});
    registry.replace(fleeting, {"fleeting",
                                {},
                                "",
                                [&, fleeting]() -> Result<Value> {
                                    registry.remove(fleeting);
                                    return Value{{"state", "half read"}};
                                },
                                {}});
    const RegistryReference entry(registry, at("IOService:/Platform/fleeting"));
    EXPECT_EQ(registry.property(entry.get(), "state").failure().kind, FailureKind::Gone);
}

TEST_F(TreeRegistryTest, CountsEveryHandle) {
    const RegistryHandle entry = at("IOService:/Platform");
    EXPECT_EQ(at("IOService:/Platform"), entry);
    registry.retain(entry);
    const RegistryHandle iterator = *registry.childIterator(entry);
    EXPECT_EQ(registry.liveHandles(), 2U);
    EXPECT_EQ(registry.liveReferences(), 4U);

    EXPECT_EQ(registry.name(iterator).failure().kind, FailureKind::Malformed);
    EXPECT_EQ(registry.next(entry), 0U);
    registry.release(iterator);
    for (int reference = 0; reference < 3; ++reference) registry.release(entry);
    EXPECT_EQ(registry.liveHandles(), 0U);
    EXPECT_EQ(registry.name(entry).failure().kind, FailureKind::Absent);

    EXPECT_EQ(registry.overReleases(), 0U);
    registry.release(0);
    registry.retain(entry);
    EXPECT_EQ(registry.liveHandles(), 0U) << "what nobody holds cannot be retained";
    registry.release(entry);
    registry.release(iterator);
    EXPECT_EQ(registry.overReleases(), 2U);
    const RegistryReference anew(registry, at("IOService:/Platform"));
    EXPECT_NE(anew.get(), entry) << "a stale handle must not name something else";
}

TEST_F(TreeRegistryTest, ManyThreadsWalkWhileItChanges) {
    // ThreadSanitizer and the count at the end are the judges.
    std::atomic<bool> done{false};
    std::vector<std::thread> walkers;
    std::atomic<int> threadReadings{0};
    registry.replace(disk, {"Media",
                            {"IOMedia"},
                            "",
                            [&]() -> Result<Value> {
                                ++threadReadings;
                                return Value{{"BSD Name", "disk0"}};
                            },
                            {}});
    for (const Node node : {first, second}) registry.replace(node, {"partition", {"IOMedia"}, "", {}, {}});
    for (int walker = 0; walker < 3; ++walker)
        walkers.emplace_back([&] {
            while (!done) {
                const RegistryReference all(registry, *registry.matchingServices({Kind::Class, "IOMedia", {}}));
                while (const RegistryReference entry{registry, registry.next(all.get())})
                    (void)registry.property(entry.get(), "BSD Name");
            }
        });
    for (int round = 0; round < 300; ++round) {
        const Node added = registry.add(disk, {"partition", {"IOMedia"}, std::to_string(round), {}, {}});
        registry.add(added, {"below", {"IOMedia"}, "", {}, {}});
        registry.remove(added);
    }
    done = true;
    for (auto& walker : walkers) walker.join();
    EXPECT_EQ(registry.liveHandles(), 0U);
    EXPECT_EQ(registry.overReleases(), 0U);
    EXPECT_EQ(registry.entryCount(), 7U);
}

}  // namespace
}  // namespace hvk
