#include "hvkstat/RecipeCheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "HVKStatistics/sensors/SensorLoader.h"
#include "hvkstat/RecipeText.h"
#include "hvkstat/Suggestion.h"

namespace hvk::hvkstat {

namespace {

using Kind = RecipeNode::Kind;

constexpr std::int64_t LastType = StatisticsSensorTypeMultiplier;

std::string_view kindName(Kind kind) {
    switch (kind) {
        case Kind::Null: return "null";
        case Kind::Boolean: return "true or false";
        case Kind::Integer: return "a whole number";
        case Kind::Number: return "a number with a fraction";
        case Kind::Text: return "text";
        case Kind::List: return "a list";
        case Kind::Dictionary: return "a dictionary";
    }
    return "";
}

/// What the value of a key may be.
enum class Wanted { Anything, Integer, Number, Text, List, Dictionary };

bool fits(const RecipeNode& node, Wanted wanted) {
    switch (wanted) {
        case Wanted::Anything: return true;
        case Wanted::Integer: return node.kind == Kind::Integer;
        case Wanted::Number: return node.isNumber();
        case Wanted::Text: return node.kind == Kind::Text;
        case Wanted::List: return node.kind == Kind::List;
        case Wanted::Dictionary: return node.kind == Kind::Dictionary;
    }
    return false;
}

std::string_view wantedName(Wanted wanted) {
    switch (wanted) {
        case Wanted::Anything: return "anything";
        case Wanted::Integer: return "a whole number";
        case Wanted::Number: return "a number";
        case Wanted::Text: return "text";
        case Wanted::List: return "a list";
        case Wanted::Dictionary: return "a dictionary";
    }
    return "";
}

struct KeyRule {
    const char* key;
    Wanted wanted;
    bool required = false;
};

const std::vector<KeyRule> RecipeKeys = {{"version", Wanted::Integer, true},
                                         {"sensors", Wanted::Dictionary},
                                         {"cpu", Wanted::Dictionary},
                                         {"fans", Wanted::Dictionary}};
const std::vector<KeyRule> SensorsKeys = {{"supported", Wanted::List, true}, {"default", Wanted::List}};
const std::vector<KeyRule> GroupKeys = {{"group", Wanted::Anything, true},
                                        {"sensors", Wanted::List, true},
                                        {"key", Wanted::Text, true},
                                        {"type", Wanted::Integer},
                                        {"name", Wanted::Text}};
const std::vector<KeyRule> EntryKeys = {{"key", Wanted::Text, true},      {"name", Wanted::Text, true},
                                        {"source", Wanted::Text},         {"type", Wanted::Integer},
                                        {"cores", Wanted::Integer},       {"sensors", Wanted::List},
                                        {"average", Wanted::Anything},    {"low", Wanted::Number},
                                        {"high", Wanted::Number},         {"freq", Wanted::Text},
                                        {"bhash", Wanted::Text},          {"dynamic-type", Wanted::Text},
                                        {"limit", Wanted::Integer},       {"key-offset", Wanted::Integer},
                                        {"name-offset", Wanted::Integer}, {"dynamic-average", Wanted::Anything}};

std::vector<std::string> keysOf(const std::vector<KeyRule>& rules) {
    std::vector<std::string> keys;
    for (const KeyRule& rule : rules) keys.emplace_back(rule.key);
    return keys;
}

std::string textAt(const RecipeNode& node, std::string_view key) {
    const RecipeNode* found = node.find(key);
    return found != nullptr && found->kind == Kind::Text ? found->text : std::string();
}

std::size_t occurrences(std::string_view text, std::string_view what) {
    std::size_t count = 0;
    for (auto at = text.find(what); at != std::string_view::npos; at = text.find(what, at + what.size())) ++count;
    return count;
}

std::string inside(const std::string& place, std::string_view key) {
    return place.empty() ? std::string(key) : fmt::format("{}.{}", place, key);
}

class Checker {
public:
    RecipeReport report;

    void check(std::string_view text) {
        RecipeTextFault broken;
        const RecipeNode recipe = readRecipeText(text, broken);
        if (broken.line != 0) {
            fault(broken.line, "", broken.detail);
            return;
        }
        if (recipe.kind != Kind::Dictionary) {
            fault(recipe.line, "", fmt::format("should be a dictionary, is {}", kindName(recipe.kind)));
            return;
        }
        duplicates(recipe, "");
        checkRecipeKeys(recipe);
        std::stable_sort(report.faults.begin(), report.faults.end(),
                         [](const RecipeFault& left, const RecipeFault& right) { return left.line < right.line; });
    }

private:
    void fault(std::size_t line, const std::string& key, std::string detail) {
        report.faults.push_back({line, key, std::move(detail)});
    }

    /// Keys that are there twice, at every depth: the last one counts, and nobody sees the others.
    void duplicates(const RecipeNode& node, const std::string& place) {
        std::set<std::string_view> seen;
        const bool dictionary = node.kind == Kind::Dictionary;
        for (std::size_t index = 0; index < node.items.size(); ++index) {
            const RecipeNode& item = node.items[index];
            const std::string at = dictionary ? inside(place, item.key) : fmt::format("{}[{}]", place, index);
            if (dictionary && !seen.insert(item.key).second)
                fault(item.line, at, "is there twice; the last one counts");
            duplicates(item, at);
        }
    }

    /// The values of the known keys, and keys that are missing; whether every value is of its kind.
    bool kinds(const RecipeNode& node, const std::string& place, const std::vector<KeyRule>& rules) {
        bool right = true;
        for (const KeyRule& rule : rules) {
            const RecipeNode* value = node.find(rule.key);
            if (value == nullptr) {
                if (rule.required) fault(node.line, place, fmt::format("has no \"{}\"", rule.key));
                right = right && !rule.required;
            } else if (!fits(*value, rule.wanted)) {
                fault(value->line, inside(place, rule.key),
                      fmt::format("should be {}, is {}", wantedName(rule.wanted), kindName(value->kind)));
                right = false;
            }
        }
        return right;
    }

    void unknownKeys(const RecipeNode& node, const std::string& place, const std::vector<KeyRule>& rules) {
        const std::vector<std::string> known = keysOf(rules);
        for (const RecipeNode& value : node.items) {
            const std::string& key = value.key;
            if (std::find(known.begin(), known.end(), key) != known.end()) continue;
            if (key == "index" || key == "name-format" || key == "sensors-valid") {
                fault(value.line, inside(place, key), "is set by the loader and not by a recipe");
                continue;
            }
            const auto meant = nearest(key, known);
            fault(value.line, inside(place, key),
                  meant ? fmt::format("no such key; did you mean \"{}\"?", *meant) : "no such key");
        }
    }

    /// A list of texts, each there once.
    void texts(const RecipeNode& list, const std::string& place) {
        if (list.kind != Kind::List) return;
        std::set<std::string_view> seen;
        for (std::size_t index = 0; index < list.items.size(); ++index) {
            const RecipeNode& item = list.items[index];
            const std::string at = fmt::format("{}[{}]", place, index);
            if (item.kind != Kind::Text)
                fault(item.line, at, fmt::format("should be text, is {}", kindName(item.kind)));
            else if (!seen.insert(item.text).second)
                fault(item.line, at, fmt::format("\"{}\" is there twice", item.text));
        }
    }

    void checkRecipeKeys(const RecipeNode& recipe) {
        kinds(recipe, "", RecipeKeys);
        const RecipeNode* version = recipe.find("version");
        if (version != nullptr && version->kind == Kind::Integer) {
            report.version = static_cast<std::int64_t>(version->number);
            if (version->number < 1) fault(version->line, "version", "should be 1 or more: 0 stands for no recipe");
        }
        // Other keys are for other modules; one that is nearly one of these is a slip.
        const std::vector<std::string> known = keysOf(RecipeKeys);
        for (const RecipeNode& value : recipe.items) {
            const std::string& key = value.key;
            if (std::find(known.begin(), known.end(), key) != known.end()) continue;
            if (const auto meant = nearest(key, known))
                fault(value.line, key, fmt::format("no such key; did you mean \"{}\"?", *meant));
        }
        if (const RecipeNode* sensors = recipe.find("sensors"); sensors != nullptr && sensors->kind == Kind::Dictionary)
            checkSensors(*sensors);
        checkList(recipe, "cpu", "sensors");
        checkList(recipe, "fans", "groups");
    }

    /// A dictionary with one list, which is passed through.
    void checkList(const RecipeNode& recipe, const char* key, const char* list) {
        const RecipeNode* node = recipe.find(key);
        if (node == nullptr || node->kind != Kind::Dictionary) return;
        const std::vector<KeyRule> rules = {{list, Wanted::List, true}};
        kinds(*node, key, rules);
        unknownKeys(*node, key, rules);
    }

    void checkSensors(const RecipeNode& sensors) {
        unknownKeys(sensors, "sensors", SensorsKeys);
        kinds(sensors, "sensors", SensorsKeys);
        if (const RecipeNode* preferred = sensors.find("default"); preferred != nullptr)
            texts(*preferred, "sensors.default");
        const RecipeNode* supported = sensors.find("supported");
        if (supported == nullptr || supported->kind != Kind::List) return;
        std::set<std::string> alone;
        for (std::size_t index = 0; index < supported->items.size(); ++index) {
            const RecipeNode& entry = supported->items[index];
            const std::string place = fmt::format("sensors.supported[{}]", index);
            if (entry.kind != Kind::Dictionary)
                fault(entry.line, place, fmt::format("should be a dictionary, is {}", kindName(entry.kind)));
            else if (entry.find("group") != nullptr)
                checkGroup(entry, place);
            else
                checkEntry(entry, place, alone);
        }
    }

    void checkGroup(const RecipeNode& group, const std::string& place) {
        unknownKeys(group, place, GroupKeys);
        kinds(group, place, GroupKeys);
        const RecipeNode* members = group.find("sensors");
        if (members == nullptr || members->kind != Kind::List) return;
        std::set<std::string> seen;
        for (std::size_t index = 0; index < members->items.size(); ++index) {
            const RecipeNode& entry = members->items[index];
            const std::string at = fmt::format("{}.sensors[{}]", place, index);
            if (entry.kind != Kind::Dictionary)
                fault(entry.line, at, fmt::format("should be a dictionary, is {}", kindName(entry.kind)));
            else
                checkEntry(entry, at, seen);
        }
    }

    /// One sensor. `seen` holds the keys of its neighbours: the same key is there again when it is meant for another
    /// number of cores.
    void checkEntry(const RecipeNode& entry, const std::string& place, std::set<std::string>& seen) {
        ++report.entries;
        unknownKeys(entry, place, EntryKeys);
        const bool right = kinds(entry, place, EntryKeys);
        if (const RecipeNode* members = entry.find("sensors")) texts(*members, inside(place, "sensors"));
        if (!right) return;

        const RecipeNode& key = *entry.find("key");
        if (key.text.empty()) fault(key.line, inside(place, "key"), "is empty");
        const RecipeNode* cores = entry.find("cores");
        const std::string identity = key.text + (cores != nullptr ? fmt::format(" for {}", cores->number) : "");
        if (!seen.insert(identity).second)
            fault(key.line, inside(place, "key"), fmt::format("\"{}\" stands twice in one group", key.text));
        checkRange(entry, place);
        checkType(entry, place);
        checkSource(entry, place);
        checkFamily(entry, place);
    }

    void checkRange(const RecipeNode& entry, const std::string& place) {
        const RecipeNode* low = entry.find("low");
        const RecipeNode* high = entry.find("high");
        if (low != nullptr && high != nullptr && low->number >= high->number)
            fault(high->line, inside(place, "high"), "is not above \"low\"");
    }

    void checkType(const RecipeNode& entry, const std::string& place) {
        const RecipeNode* type = entry.find("type");
        if (type != nullptr && (type->number < 0 || type->number > static_cast<double>(LastType)))
            fault(type->line, inside(place, "type"), fmt::format("should be from 0 to {}", LastType));
        const std::string source = textAt(entry, "source");
        if (type == nullptr && (source == "average" || source == "multiply"))
            fault(entry.line, place, fmt::format("has no \"type\", which a sensor with source \"{}\" needs", source));
    }

    void checkSource(const RecipeNode& entry, const std::string& place) {
        static const std::vector<std::string> Sources = {"smc", "hid", "average", "multiply"};
        const RecipeNode* source = entry.find("source");
        const RecipeNode* members = entry.find("sensors");
        const bool family = entry.find("dynamic-type") != nullptr;
        if (source != nullptr && std::find(Sources.begin(), Sources.end(), source->text) == Sources.end()) {
            fault(source->line, inside(place, "source"),
                  fmt::format("\"{}\" is no source; it is one of smc, hid, average, multiply", source->text));
            return;
        }
        const std::string name = source != nullptr ? source->text : "";
        const RecipeNode& key = *entry.find("key");
        if (name == "smc" && !family && key.text.size() != 4)
            fault(key.line, inside(place, "key"), "a key of the controller has 4 characters");
        if (name == "average" && !family && (members == nullptr || members->items.empty()))
            fault(entry.line, place, "has no \"sensors\" to take the average of");
        if (name == "multiply" && (members == nullptr || members->items.size() != 2))
            fault(entry.line, place, "has not two \"sensors\" to multiply");
        if (const RecipeNode* average = entry.find("average"); average != nullptr && name != "hid")
            fault(average->line, inside(place, "average"), "is for sensors with source \"hid\"");
    }

    void checkFamily(const RecipeNode& entry, const std::string& place) {
        const RecipeNode* kind = entry.find("dynamic-type");
        const RecipeNode& key = *entry.find("key");
        const RecipeNode& name = *entry.find("name");
        if (kind == nullptr) {
            for (const char* only : {"limit", "key-offset", "name-offset", "dynamic-average"})
                if (const RecipeNode* value = entry.find(only))
                    fault(value->line, inside(place, only), "is for families, which have a \"dynamic-type\"");
            if (key.text.find("{0}") != std::string::npos)
                fault(key.line, inside(place, "key"), "has a {0} although it is no family: it has no \"dynamic-type\"");
            return;
        }
        const bool average = entry.find("dynamic-average") != nullptr;
        if (occurrences(key.text, "{0}") != 1 && !average)
            fault(key.line, inside(place, "key"), "the key of a family has one {0} for the number");
        if (occurrences(name.text, "%@") != 1 && !average)
            fault(name.line, inside(place, "name"), "the name of a family has one %@ for the number");
        const RecipeNode* limit = entry.find("limit");
        if (kind->text == "package" || kind->text == "cores") return;
        if (limit == nullptr)
            fault(entry.line, place, fmt::format("has no \"limit\", which a family of \"{}\" needs", kind->text));
        else if (limit->number < 1 || limit->number > static_cast<double>(SensorFamilyLimit))
            fault(limit->line, inside(place, "limit"), fmt::format("should be from 1 to {}", SensorFamilyLimit));
    }
};

}  // namespace

RecipeReport checkRecipe(std::string_view text) {
    Checker checker;
    checker.check(text);
    return std::move(checker.report);
}

}  // namespace hvk::hvkstat
