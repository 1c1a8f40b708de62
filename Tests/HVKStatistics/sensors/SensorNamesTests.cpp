// Kind, place, label and name of a sensor: every row of the rules, the order of the rows, and every language.

#include "HVKStatistics/sensors/SensorNames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "HVKLocalization/StringTable.h"
#include "HVKStatistics/sensors/SensorCatalogue.h"
#include "support/WrittenMachine.h"

namespace hvk {
namespace {

using testing::IsEmpty;
using testing::UnorderedElementsAre;

TEST(SensorNames, KindByTheFirstLetterOfTheKey) {
    const struct {
        const char* key;
        std::int64_t type;
        const char* group;
    } cases[] = {
        {"tc0p", 1, "temperature"}, {"TC0P", 1, "temperature"}, {"F0Ac", 3, "Fan"},     {"fan", 3, "Fan"},
        {"IC0R", 4, "current"},     {"PCPC", 5, "power"},       {"VC0C", 6, "voltage"}, {"ALV0", 7, "LIG"},
        {"CPUF", 8, "frequency"},   {"MULT", 9, "MUL"},         {"#KEY", 0, ""},        {"", 0, ""},
        {"\xC3\xA4", 0, ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(SensorCatalogue::typeFromKey(c.key), c.type) << c.key;
        const Value group = SensorCatalogue::defaultGroupConfigForType(c.type);
        EXPECT_EQ(group, *c.group == '\0' ? Value::object() : Value({{"key", c.group}})) << c.key;
    }
    EXPECT_EQ(SensorCatalogue::defaultGroupConfigForType(2), Value({{"key", "Fan"}}));
    for (const std::int64_t none : {std::int64_t{-1}, std::int64_t{10}, INT64_MIN, INT64_MAX})
        EXPECT_EQ(SensorCatalogue::defaultGroupConfigForType(none), Value::object());
}

TEST(SensorNames, PlaceByTheEnglishName) {
    const struct {
        const char* name;
        std::int64_t location;
        const char* label;
    } cases[] = {
        {"CPU Efficiency Core 3", 2, "CPU"},
        {"cpu perf", 3, "CPU"},
        {"CPU Efficiency and Performance", 2, "CPU"},
        {"CPU GPU Memory", 1, "CPU"},
        {"Effective Memory", 8, "MEM"},
        {"Intel GPU", 4, "GPU"},
        {"Graphics Memory", 4, "GPU"},
        {"AMD Radeon", 4, "GPU"},
        {"Not AMD", 0, ""},
        {"Memory Palm", 8, "MEM"},
        {"Palm Rest Airport", 10, "PLM"},
        {"Airport Proximity", 11, "APT"},
        {"WIRELESS Airflow", 11, "APT"},
        {"Airflow Logic", 7, "AIR"},
        {"Logic Board SSD", 12, "LOG"},
        {"SSD SOC", 5, "SSD"},
        {"SOC Battery", 13, "SOC"},
        {"Battery Power", 9, "BAT"},
        {"Power of the Display", 9, "POW"},
        {"Display", 9, "DISP"},
        {"Heatsink", 0, ""},
        {"", 0, ""},
    };
    for (const auto& c : cases) {
        const auto place = placeForSensorName(c.name);
        ASSERT_EQ(place.has_value(), c.location != 0) << c.name;
        if (!place) continue;
        EXPECT_EQ(place->location, c.location) << c.name;
        EXPECT_EQ(place->label, c.label) << c.name;
    }
}

/// In German, so that a text is told from a key and from the English name.
std::string german(std::string_view name) {
    const auto machine = test::writtenMachine({{"system", {{"preferredLanguages", {"de-AT"}}}}});
    return SensorCatalogue(*machine).localizedNameForSensor(name);
}

TEST(SensorNames, InTheLanguageOfTheUser) {
    const struct {
        const char* name;
        const char* text;
    } cases[] = {
        // Whole names
        {"CPU", "CPU"},
        {"CPU Cores", "CPU-Kerne"},
        {"CPU Efficiency Cores", "CPU-Effizienzkerne"},
        {"CPU Performance Cores", "CPU-Leistungskerne"},
        {"GPU", "Grafik"},
        {"Graphics", "Grafik"},
        {"Memory", "Arbeitsspeicher"},
        {"Palm Rest", "Handballenauflage"},
        {"SSD", "SSD"},
        {"AirPort", "WLAN"},
        {"Airport", "WLAN"},
        {"Wireless", "WLAN"},
        {"Wi-Fi", "WLAN"},
        {"Airflow", "Luftstrom"},
        {"AirFlow", "Luftstrom"},
        {"Air Flow", "Luftstrom"},
        {"Display", "Bildschirm"},
        {"DC In", "Gleichstromeingang"},
        {"DC Input", "Gleichstromeingang"},
        {"Battery", "Batterie"},
        {"Total Power", "Gesamtleistung"},
        {"Left Fan", "Linker Lüfter"},
        {"Right Fan", "Rechter Lüfter"},
        {"Fan", "Lüfter"},
        {"Ambient", "Umgebung"},
        {"Exhaust", "Abluft"},
        {"Airflow Front", "Luftstrom vorne"},
        {"Airflow Front Left", "Luftstrom vorne links"},
        {"Airflow Front Right", "Luftstrom vorne rechts"},
        {"Airflow Left", "Luftstrom links"},
        {"Airflow Rear", "Luftstrom hinten"},
        {"Airflow Rear Left", "Luftstrom hinten links"},
        {"Airflow Rear Right", "Luftstrom hinten rechts"},
        {"Airflow Right", "Luftstrom rechts"},
        {"Fans", "Lüfter"},
        {"Ambient Exhaust", "Umgebungsluft (Auslass)"},
        {"Ambient Intake", "Umgebungsluft (Einlass)"},
        // Names with a number
        {"Fan 12", "Lüfter 12"},
        {"CPU Performance Core 3", "CPU-Leistungskern 3"},
        {"CPU Efficiency Core 3", "CPU-Effizienzkern 3"},
        {"CPU Core 3", "CPU-Kern 3"},
        {"GPU 1", "Grafik 1"},
        {"Graphics 1", "Grafik 1"},
        {"Memory 2", "Arbeitsspeicher 2"},
        {"Palm Rest 2", "Handballenauflage 2"},
        {"Airflow 2", "Luftstrom 2"},
        {"Ambient 2", "Umgebung 2"},
        {"Battery 2", "Batterie 2"},
        // Anywhere in the name; the first row that fits, and the first place where it does
        {"Left Fan 2 rear", "Lüfter 2"},
        {"Battery 2 Fan 1", "Lüfter 1"},
        {"Fan x, Fan 7, Fan 8", "Lüfter 7"},
        {"CPU Core 1 and CPU Performance Core 2", "CPU-Leistungskern 2"},
        {"Fan 007a", "Lüfter 007"},
        // Without " Proximity", which stays in a name that says nothing else
        {"Ambient Intake Proximity", "Umgebungsluft (Einlass)"},
        {"CPU Proximity Core 2 Proximity", "CPU-Kern 2"},
        {"Heatsink Proximity", "Heatsink Proximity"},
        {"Proximity", "Proximity"},
        // No match
        {"Heatsink", "Heatsink"},
        {"cpu", "cpu"},
        {"Fan A", "Fan A"},
        {"Fan1", "Fan1"},
        {"Airflow Top", "Airflow Top"},
        {"", ""},
    };
    for (const auto& c : cases) EXPECT_EQ(german(c.name), c.text) << c.name;
}

TEST(SensorNames, OfGroupsAndTheirFilters) {
    const auto machine = test::writtenMachine({{"system", {{"preferredLanguages", {"de"}}}}});
    const SensorCatalogue catalogue(*machine);
    const struct {
        const char* key;
        const char* name;
        const char* filter;
    } cases[] = {
        {"sensors-1", "Sensoren", ""},
        {"overview-1", "Übersicht", "verview"},
        {"temperature-simple", "Temperatur", "temperature"},
        {"fan", "Lüfter", "fan"},
        {"current-2", "Stromstärke", "current"},
        {"power", "Leistung", "power"},
        {"voltage", "Spannung", "voltage"},
        {"frequency", "Frequenz", "frequency"},
        {"ambientlight", "Umgebungslicht", "ambientlight"},
        {"multiplier", "Multiplikator", ""},
        {"Fan", "Fan", ""},
        {"LIG", "LIG", ""},
        {"MUL", "MUL", ""},
        {"Temperature", "Temperature", ""},
        {"my fan", "my fan", ""},
        {"", "", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(catalogue.nameForGroup(Value{{"key", c.key}}), c.name) << c.key;
        EXPECT_EQ(SensorCatalogue::filterKeyForGroup(c.key), c.filter) << c.key;
    }
    EXPECT_EQ(catalogue.nameForGroup(Value{{"key", "fan"}, {"name", "Blades"}}), "Blades");
    EXPECT_EQ(catalogue.nameForGroup(Value{{"key", "fan"}, {"name", ""}}), "Lüfter");
    EXPECT_EQ(catalogue.nameForGroup(Value::object()), "");
    EXPECT_EQ(catalogue.nameForGroup(Value{{"key", 5}}), "");
}

std::map<std::string, StringTable> tablesOfTheFramework() {
    std::map<std::string, StringTable> tables;
    const std::string directory = std::string(HVK_SOURCE_DIR) + "/Frameworks/HVKStatistics/resources";
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        if (entry.path().extension() != ".lproj") continue;
        std::ifstream file(entry.path() / "HVKStatisticsKit.strings");
        std::ostringstream text;
        text << file.rdbuf();
        tables.emplace(entry.path().stem().string(), StringTable::parse(text.str()));
    }
    return tables;
}

TEST(SensorNames, EveryLanguageHasEveryTextWithItsPlaceholders) {
    const auto tables = tablesOfTheFramework();
    std::set<std::string> languages;
    for (const auto& [language, table] : tables) languages.insert(language);
    EXPECT_THAT(languages, UnorderedElementsAre("de", "en", "es", "fr", "ja"));
    const auto& english = tables.at("en").entries();
    EXPECT_GE(english.size(), 49U);
    for (const auto& [language, table] : tables) {
        EXPECT_THAT(table.faults(), IsEmpty()) << language;
        EXPECT_EQ(table.entries().size(), english.size()) << language;
        for (const auto& [key, text] : english) {
            const auto translated = table.find(key);
            ASSERT_TRUE(translated) << language << ": " << key;
            EXPECT_FALSE(translated->empty()) << language << ": " << key;
            for (const char* placeholder : {"{x}", "%@"})
                EXPECT_EQ(translated->find(placeholder) == std::string::npos,
                          text.find(placeholder) == std::string::npos)
                    << language << ": " << key;
        }
    }
}

}  // namespace
}  // namespace hvk
