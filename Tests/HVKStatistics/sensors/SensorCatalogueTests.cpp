// Sensors from their configuration into lists and groups, and what a reader on another thread sees of them.

#include "HVKStatistics/sensors/SensorCatalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "HVKBase/Resources.h"
#include "HVKLogger/DDLog.h"
#include "HVKStatistics/categories/StatisticsHash.h"
#include "support/SavedTree.h"
#include "support/WrittenMachine.h"

namespace hvk {
namespace {

using test::writtenMachine;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class SensorCatalogueTest : public testing::Test {
protected:
    /// A sensor with a key, added to the list.
    std::shared_ptr<StatisticsSensorItem> added(const char* key) {
        auto sensor = catalogue_.createSensor({{"key", key}});
        catalogue_.addSensor(sensor);
        return sensor;
    }

    std::unique_ptr<RecordedMachine> machine_ = writtenMachine();
    SensorCatalogue catalogue_{*machine_};
};

TEST_F(SensorCatalogueTest, ARecordIsMadeFromItsConfiguration) {
    const Value configuration = Value::parse(R"({"key": "F0Ac", "name": "Left Fan", "low": 1200, "high": 6199.5,
        "freq": "slow", "source": "smc", "extra": [1, 2]})");
    const auto fan = catalogue_.createSensor(configuration);
    EXPECT_EQ(fan->key, "F0Ac");
    EXPECT_EQ(fan->keyHash, statisticsHash("F0Ac"));
    EXPECT_EQ(fan->engish, "Left Fan");
    EXPECT_EQ(fan->name, "Left Fan");
    EXPECT_EQ(fan->freq, "slow");
    EXPECT_EQ(fan->low, 1200);
    EXPECT_EQ(fan->high, 6199.5);
    EXPECT_EQ(fan->type, 3);
    EXPECT_EQ(fan->source, 1);
    EXPECT_EQ(fan->config, configuration);
    EXPECT_EQ(fan->lastUpdate, 0);
    EXPECT_FALSE(fan->exists);
    EXPECT_EQ(fan->location, 0) << "the place is found when it is added";
    EXPECT_THAT(catalogue_.sensors(), IsEmpty());

    const struct {
        const char* configuration;
        std::int64_t type, source;
    } cases[] = {
        {R"({"key": "x", "source": "hid", "type": 5})", 1, 4},
        {R"({"key": "F0", "source": "average", "type": 2})", 2, 2},
        {R"({"key": "TC0P", "source": "multiply", "type": 5.9})", 5, 3},
        {R"({"key": "TC0P", "source": "HID", "type": null})", 1, 1},
        {R"({"key": "TC0P", "source": 4, "type": true})", 1, 1},
        {R"({"key": "TC0P", "type": 1e300})", INT64_MAX, 1},
        {R"({"key": "TC0P", "type": 18446744073709551615})", INT64_MAX, 1},
        {R"({"key": "TC0P", "type": "power"})", 0, 1},
        {R"({"key": ["TC0P"]})", 0, 1},
    };
    for (const auto& c : cases) {
        const auto sensor = catalogue_.createSensor(Value::parse(c.configuration));
        EXPECT_EQ(sensor->type, c.type) << c.configuration;
        EXPECT_EQ(sensor->source, c.source) << c.configuration;
    }
    for (const Value& nothing : {Value(), Value::object(), Value::array({1}), Value("text")}) {
        const auto sensor = catalogue_.createSensor(nothing);
        EXPECT_EQ(sensor->key + sensor->name + sensor->engish + sensor->freq, "");
        EXPECT_EQ(sensor->keyHash, statisticsHash(""));
        EXPECT_TRUE(sensor->config.is_object());
    }
}

TEST_F(SensorCatalogueTest, AddingFindsThePlaceOnce) {
    const auto fan = catalogue_.createSensor({{"key", "F0Ac"}, {"name", "CPU Fan"}});
    const auto airport = catalogue_.createSensor({{"key", "TW0P"}, {"name", "Airport Proximity"}});
    const auto stated = catalogue_.createSensor({{"key", "x"}, {"type", 2}});
    for (const auto& sensor : {fan, airport, stated}) catalogue_.addSensor(sensor);
    EXPECT_EQ(fan->location, 1);
    EXPECT_EQ(fan->nameShort, "FAN");
    EXPECT_EQ(airport->location, 11);
    EXPECT_EQ(airport->nameShort, "APT");
    EXPECT_EQ(airport->name, "Wi-Fi");
    EXPECT_EQ(stated->nameShort, "FAN");

    EXPECT_TRUE(catalogue_.sensorsChanged());
    catalogue_.setSensorsChanged(false);
    airport->nameShort = "mine";
    catalogue_.addSensor(airport);
    EXPECT_EQ(airport->nameShort, "mine");
    EXPECT_FALSE(catalogue_.sensorsChanged());
    EXPECT_EQ(catalogue_.sensors().size(), 3U);

    catalogue_.addHiddenSensor(airport);
    EXPECT_TRUE(catalogue_.sensorsChanged());
    EXPECT_THAT(catalogue_.groups(), IsEmpty());
    EXPECT_THAT(catalogue_.keys(), ElementsAre("F0Ac", "TW0P", "x"));
    EXPECT_THAT(catalogue_.fans(), ElementsAre(fan));
    fan->source = StatisticsSensorSourceHID;
    EXPECT_THAT(catalogue_.fans(), IsEmpty());
}

TEST_F(SensorCatalogueTest, SimpleDetailedAndGlobalGroups) {
    const auto first = catalogue_.createSensor({{"key", "TC0P"}, {"name", "CPU"}});
    const auto second = catalogue_.createSensor({{"key", "TG0P"}, {"name", "GPU"}});
    catalogue_.addSimpleSensor(first, "temperature");
    catalogue_.addSimpleSensor(first, "temperature");
    catalogue_.addGlobalSensor(second, "temperature");
    catalogue_.addDetailedSensor(second, "odd");
    EXPECT_EQ(catalogue_.sensors(), (SensorList{first, second}));
    const auto simple = catalogue_.groupWithKey("temperature-simple");
    ASSERT_TRUE(simple);
    EXPECT_EQ(simple->sensors, (SensorList{first, first, second})) << "added twice, it is there twice";
    EXPECT_EQ(simple->name, "Temperature");
    EXPECT_EQ(simple->key, "temperature-simple");
    EXPECT_EQ(simple->type, 1);
    EXPECT_EQ(catalogue_.groupWithKey("temperature-detailed")->type, 2);
    EXPECT_EQ(catalogue_.groupWithKey("temperature-detailed")->sensors, (SensorList{second}));
    EXPECT_EQ(catalogue_.groupWithKey("odd-detailed")->name, "odd") << "the name is the kind, without the suffix";
    EXPECT_FALSE(catalogue_.groupWithKey("temperature"));

    // The group is found by its key, whatever its identifier.
    const auto other = catalogue_.groupWithConfig({{"key", "power-simple"}, {"type", 7}, {"name", "Watts"}});
    catalogue_.addSimpleSensor(first, "power");
    EXPECT_EQ(other->sensors, (SensorList{first}));

    first->value = 52.25;
    EXPECT_EQ(catalogue_.valueForGroup(*other),
              Value::parse(R"({"identifier": "power-simple-7", "key": "power-simple", "type": 7, "name": "Watts",
                               "sensors": [{"key": "TC0P", "name": "CPU", "value": 52.25}]})"));
    catalogue_.setSensorType(*other, 5);
    EXPECT_EQ(catalogue_.valueForGroup(*other)["sensor-type"], 5);
    EXPECT_EQ(catalogue_.stats(), Value::parse(R"([{"key": "TC0P", "name": "CPU", "value": 52.25},
                                                   {"key": "TG0P", "name": "Graphics", "value": 0.0}])"));

    catalogue_.removeItemWithKey("nothing");
    catalogue_.removeItemWithKey(first->keyHash);
    EXPECT_EQ(catalogue_.sensors(), (SensorList{second}));
    EXPECT_EQ(simple->sensors, (SensorList{second}));
    EXPECT_THAT(other->sensors, IsEmpty());
    EXPECT_EQ(catalogue_.groups().size(), 4U) << "an empty group stays";
    catalogue_.removeItem(catalogue_.sensors().front());
    EXPECT_THAT(catalogue_.sensors(), IsEmpty());
    EXPECT_THAT(simple->sensors, IsEmpty());
}

TEST_F(SensorCatalogueTest, AGroupFromItsConfiguration) {
    const struct {
        const char* configuration;
        const char* identifier;
        std::int64_t type;
    } cases[] = {
        {R"({"key": "temperature", "type": 2})", "temperature-2", 2},
        {R"({"key": "temperature", "type": 0})", "temperature", 0},
        {R"({"key": "power"})", "power", 0},
        {R"({"key": "power", "type": -3})", "power", 0},
        {R"({"type": 1})", "-1", 1},
        {R"({})", "", 0},
    };
    for (const auto& c : cases) {
        const auto group = catalogue_.groupWithConfig(Value::parse(c.configuration));
        EXPECT_EQ(group->identifier, c.identifier) << c.configuration;
        EXPECT_EQ(group->type, c.type) << c.configuration;
        EXPECT_EQ(catalogue_.groupWithKey(c.identifier), group);
    }
    EXPECT_EQ(catalogue_.groups().size(), 5U);
    EXPECT_TRUE(catalogue_.sensorsChanged());
    const auto same = catalogue_.groupWithConfig({{"key", "temperature"}, {"type", 2}, {"name", "Other"}});
    EXPECT_EQ(same->name, "") << "one that is there is not touched";
    EXPECT_EQ(catalogue_.valueForGroup(*same)["name"], "Temperature");
    same->sensors = {catalogue_.createSensor({{"key", "TC0P"}})};
    EXPECT_EQ(SensorCatalogue::group(*same, "TC0P"), same->sensors.front());
    EXPECT_EQ(SensorCatalogue::group(*same, statisticsHash("TC0P")), same->sensors.front());
    EXPECT_FALSE(SensorCatalogue::group(*same, "TC1P"));
}

TEST_F(SensorCatalogueTest, VisibleAndHiddenRecordsAreFoundApart) {
    const auto first = added("TC0P");
    added("TC0P");
    const auto hidden = catalogue_.createSensor({{"key", "TC0P"}});
    const auto secret = catalogue_.createSensor({{"key", "TC9C"}});
    catalogue_.addHiddenItem(hidden);
    catalogue_.addHiddenItem(secret);
    EXPECT_EQ(catalogue_.sensorWithKey("TC0P"), first);
    EXPECT_EQ(catalogue_.sensorWithKey(statisticsHash("TC0P")), first);
    EXPECT_FALSE(catalogue_.sensorWithKey("TC9C"));
    EXPECT_EQ(catalogue_.hiddenSensorWithKey("TC0P"), hidden);
    EXPECT_EQ(catalogue_.updateSensorWithKey("TC0P"), first);
    EXPECT_EQ(catalogue_.updateSensorWithKey(secret->keyHash), secret);
    catalogue_.removeHiddenItem(catalogue_.hiddenItems()[1]);
    EXPECT_EQ(catalogue_.hiddenItems(), (SensorList{hidden}));
    EXPECT_FALSE(catalogue_.updateSensorWithKey("TC9C"));
    catalogue_.removeAllSensorsAndGroups();
    EXPECT_FALSE(catalogue_.sensorWithKey("TC0P"));
    EXPECT_EQ(catalogue_.hiddenItems(), (SensorList{hidden}));
}

TEST_F(SensorCatalogueTest, ListsAreFinishedForReadersOnOtherThreads) {
    const auto sensor = added("TC0P");
    EXPECT_EQ(catalogue_.immutableSensors(), (SensorList{sensor}));
    const auto before = catalogue_.immutableSensors();
    {
        const SensorCatalogue::Changes changes(catalogue_);
        catalogue_.removeAllSensorsAndGroups();
        catalogue_.addGlobalSensor(sensor, "temperature");
        EXPECT_THAT(catalogue_.immutableGroups(), IsEmpty()) << "not before the changes end";
        EXPECT_EQ(catalogue_.immutableSensors(), before);
    }
    ASSERT_EQ(catalogue_.immutableGroups().size(), 2U);
    catalogue_.immutableGroups()[0].sensors.clear();
    EXPECT_EQ(catalogue_.immutableGroups()[0].sensors.size(), 1U) << "a reader's copy is its own";

    // Every list that is read is one that was finished: as many sensors as the groups together have.
    std::atomic<bool> done = false;
    std::atomic<int> unfinished = 0;
    std::thread reader([&] {
        while (!done) {
            double sum = 0;
            for (const auto& item : catalogue_.immutableSensors()) sum += item->value + item->lastUpdate;
            const auto groups = catalogue_.immutableGroups();
            if (groups.size() != 2 || groups[0].sensors.size() != groups[1].sensors.size() || sum < 0) ++unfinished;
        }
    });
    for (int pass = 1; pass <= 300; ++pass) {
        const SensorCatalogue::Changes changes(catalogue_);
        const auto passing = catalogue_.createSensor({{"key", "TG0P"}});
        catalogue_.addGlobalSensor(passing, "temperature");
        for (const auto& item : catalogue_.immutableSensors()) item->addValue(pass, pass);
        if (pass % 2 == 0) catalogue_.removeItem(passing);
        catalogue_.removeItemWithKey("TG0P");
    }
    done = true;
    reader.join();
    EXPECT_EQ(unfinished, 0);
}

TEST_F(SensorCatalogueTest, AveragesOfSensorsThatHaveOne) {
    EXPECT_EQ(SensorCatalogue::historyConfig(),
              Value::parse(R"({"type": "sensors", "fields": ["value", "peak"], "keys": true})"));
    EXPECT_EQ(catalogue_.historyAverage(10, 0, 10), Value::array());
    added("TC0P");
    added("TC1P")->addValue(40, 5);
    EXPECT_EQ(catalogue_.historyAverage(10, 0, 10),
              Value::parse(R"([{"type": "sensors", "time": 10.0, "interval": 10, "value": 40.0, "peak": 40.0,
                                "key": "TC1P"}])"));
}

TEST(SensorCatalogue, ABrokenTableIsToldToTheLogAndToDiagnostics) {
    const std::string found = resourceDirectory();
    test::SavedTree tree;
    tree.write("/en.lproj/HVKStatisticsKit.strings", "\"Sensors.CPU\" = \"Processor\";\n\"Sensors.Fan\" \"Fan\";\n");
    std::vector<std::string> lines;
    DDLog::setSink([&](const DDLogMessage& message) { lines.push_back(message.message); });
    setResourceDirectory(tree.root());
    const auto machine = writtenMachine();
    const SensorCatalogue catalogue(*machine);
    setResourceDirectory("");
    EXPECT_EQ(catalogue.localizedNameForSensor("CPU"), "Processor");
    EXPECT_EQ(catalogue.localizedNameForSensor("Fan"), "Sensors.Fan");
    DDLog::setSink({});
    EXPECT_THAT(lines, ElementsAre(HasSubstr("en.lproj/HVKStatisticsKit.strings:2: there is no =")));
    const auto reports = machine->diagnostics().reports();
    EXPECT_THAT(reports, Contains(testing::Truly([](const SourceReport& report) {
                    return report.failure && report.failure->detail.find("strings:2") != std::string::npos;
                })));
    EXPECT_EQ(resourceDirectory(), found);
}

}  // namespace
}  // namespace hvk
