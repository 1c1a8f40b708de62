#include "hvkstat/Options.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <optional>

#include "hvkstat/Modules.h"
#include "hvkstat/Suggestion.h"

namespace hvk::hvkstat {

namespace {

constexpr double ShortestInterval = 0.001;
constexpr double LongestInterval = 86400;
constexpr std::uint64_t MostSamples = 1'000'000'000;
constexpr std::uint64_t MostRows = 10'000'000;
constexpr std::int64_t LongestBucket = 31'536'000;
constexpr double LongestWatch = 31'536'000;
constexpr double FarthestBack = 31'536'000;
/// The last second of the year 9999.
constexpr double LatestTime = 253402300799;

constexpr std::string_view IntervalRange = "a number of seconds from 0.001 to 86400";
constexpr std::string_view ForRange = "a number of seconds from 0 to 31536000";
constexpr std::string_view CountRange = "a whole number from 1 to 1000000000";
constexpr std::string_view RowsRange = "a whole number of rows from 1 to 10000000";
constexpr std::string_view ThresholdRange = "an energy impact of 0 or more";
constexpr std::string_view BucketRange = "a whole number of seconds from 1 to 31536000";
constexpr std::string_view BoundRange =
    "seconds since 1970 (1700000000), seconds before the end (-60, a year at most), or now";

std::string join(const std::vector<std::string>& words) { return fmt::format("{}", fmt::join(words, ", ")); }

/// The number that all of `text` spells in decimal; empty for anything else, not-a-number and infinities included.
std::optional<double> parseNumber(std::string_view text) {
    if (text.empty() || text.find_first_not_of("0123456789.eE+-") != std::string_view::npos) return std::nullopt;
    const std::string terminated(text);
    char* rest = nullptr;
    const double number = std::strtod(terminated.c_str(), &rest);
    if (rest != terminated.c_str() + terminated.size() || !std::isfinite(number)) return std::nullopt;
    return number;
}

std::optional<std::uint64_t> parseWhole(std::string_view text) {
    std::uint64_t number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || rest != text.data() + text.size() || text.empty()) return std::nullopt;
    return number;
}

Exit usageError(std::string_view what) {
    return {ExitUsage, {}, fmt::format("hvkstat: {}\nTry 'hvkstat --help'.\n", what)};
}

Exit badValue(std::string_view option, std::string_view value, std::string_view accepted) {
    return usageError(fmt::format("{}: '{}' is not accepted; it takes {}", option, value, accepted));
}

/// The command line as text, before its values are checked.
struct RawOptions {
    bool json = false, combine = false, tree = false, all = false;
    std::string root, machine, modules, interval, count, history, start, end, bucket, sort, threshold, trafficBy,
        seconds;
    std::string recipeAction;
    std::vector<std::string> recipeFiles;
};

/// What `recipe` can do, and the files that it takes.
struct RecipeActionRow {
    const char* name;
    RecipeAction action;
    std::vector<const char*> files;
    std::size_t needed;  ///< so many of them
};

const std::vector<RecipeActionRow>& recipeActions() {
    static const std::vector<RecipeActionRow> rows = {
        {"decode", RecipeAction::Decode, {"IN"}, 1},
        {"encode", RecipeAction::Encode, {"IN", "OUT"}, 2},
        {"check", RecipeAction::Check, {"IN"}, 1},
        {"make", RecipeAction::Make, {"OUT"}, 0},
    };
    return rows;
}

/// What the options of a command take that have a value, in words.
std::string acceptedBy(const std::string& option, std::string_view command) {
    if (option == "--interval") return std::string(command == "history" ? BucketRange : IntervalRange);
    if (option == "--count") return std::string(command == "processes" ? RowsRange : CountRange);
    if (option == "--for") return std::string(ForRange);
    if (option == "--sort") return "one of " + join(processSortKeys());
    if (option == "--threshold") return std::string(ThresholdRange);
    if (option == "--start" || option == "--end") return std::string(BoundRange);
    if (option == "--modules") return "a list of " + join(moduleNames());
    return option == "--root" ? "the name of a directory" : "the name of a file";
}

/// The parser with every command and option. It owns nothing of `raw`, which must outlive it.
std::unique_ptr<CLI::App> makeParser(RawOptions& raw) {
    auto app = std::make_unique<CLI::App>(
        "Measures this machine, a saved Linux tree or a recorded machine.\n\n"
        "Without a command: the live view on a terminal (q ends it), one report otherwise; either takes the\n"
        "options of report.",
        "hvkstat");
    app->set_version_flag("--version", "hvkstat " HVKSTAT_VERSION, "print the version");
    app->set_help_flag("-h,--help", "print help; behind a command, help for it");
    app->require_subcommand(0, 1);
    // What nobody takes is looked at afterwards, with better words than the parser's.
    app->allow_extras();
    app->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);

    app->add_option("--root", raw.root, "measure a saved Linux tree: its proc/ and sys/ lie below DIR")
        ->type_name("DIR");
    app->add_option("--machine", raw.machine, "measure a recorded machine")->type_name("FILE");

    CLI::App* report = app->add_subcommand("report", "print what every module measures");
    report->add_flag("--json", raw.json, "one JSON object a line for each sample");
    report->add_option("--modules", raw.modules, "a list of " + join(moduleNames()) + "; all by default")
        ->type_name("NAMES");
    report->add_option("--interval", raw.interval, "wait so long before each sample; 1 by default")
        ->type_name("SECONDS");
    report->add_option("--count", raw.count, "end after so many samples; 1 by default")->type_name("N");
    report->footer(
        "Processor use is that of the interval before the sample. A recorded machine is not waited for: its\n"
        "own clock is moved on.");

    CLI::App* history = app->add_subcommand("history", "print means over equal spans of time, newest first");
    history->add_option("MODULE", raw.history, "one of " + join(historyNames()))->type_name(" ");
    history->add_option("--start", raw.start, "one end of the window; -60 by default")->type_name("T");
    history->add_option("--end", raw.end, "its other end; now by default")->type_name("T");
    history->add_option("--interval", raw.bucket, "the span of one mean; 10 by default")->type_name("SECONDS");
    history->add_flag("--json", raw.json, "one JSON object a line for each mean");
    history->footer(
        "T is in seconds since 1970, or with a minus sign in seconds before the end: -60, -0 or 'now'. The two\n"
        "ends may be given in either order. A span holds its newer end and not its older one; a span without a\n"
        "sample is left out.\n\n"
        "A recorded machine is replayed to the end of the window, and its end is the end of the recording.\n"
        "A live machine keeps no history for this command: it is measured each second from now on, until the\n"
        "window is full. 'now' is then the moment when the command ends, and a window that lies in the past is\n"
        "moved so that it begins now.");

    CLI::App* processes = app->add_subcommand("processes", "print the busiest processes, or families of processes");
    processes->add_flag("--json", raw.json, "one JSON object");
    processes->add_option("--sort", raw.sort, "one of " + join(processSortKeys()) + "; cpu by default")
        ->type_name("METRIC");
    processes->add_flag("--combine", raw.combine, "one row for each family, its members counted with its head");
    processes->add_option("--count", raw.count, "at most so many rows; 20 by default, all with --tree")->type_name("N");
    processes->add_option("--threshold", raw.threshold, "with --sort power: leave out what is below")->type_name("X");
    processes->add_flag("--tree", raw.tree, "every family with its members");
    processes->add_option("--interval", raw.interval, "measure for so long; 1 by default")->type_name("SECONDS");
    processes->footer(
        "Rates are those of the interval. Power is the mean energy impact and lists applications only; energy is\n"
        "the latest impact, of every process. A family is an application or service with the processes that work\n"
        "for it; shells and launchers do not count as the family of what they start.");

    CLI::App* sensors = app->add_subcommand("sensors", "print temperatures, fans, voltages, currents and power");
    sensors->add_flag("--json", raw.json, "one JSON object");
    sensors->add_flag("--all", raw.all, "those that do not answer too, and every key of the controller");
    sensors->footer(
        "Which sensors there are and what they are called is said by the recipe of the model. A Linux machine without\n"
        "one gets a recipe of what its sensors say of themselves; 'hvkstat recipe make' prints it.");

    CLI::App* gpu =
        app->add_subcommand("gpu", "print the graphics processors: use, memory, clocks, power, temperature");
    gpu->add_flag("--json", raw.json, "one JSON object");
    gpu->footer(
        "A processor that sleeps is not woken: it keeps its last figures, and 'hvkstat doctor' names it. Those that "
        "are\n"
        "made from counters need two samples: the first one shows none.");

    CLI::App* traffic = app->add_subcommand("traffic", "print what goes over the network, by process or by interface");
    traffic->add_flag("--json", raw.json, "one JSON object");
    traffic->add_option("--by", raw.trafficBy, "process or interface; process by default")->type_name("WHAT");
    traffic->add_option("--interval", raw.interval, "count for so long; 1 by default")->type_name("SECONDS");
    traffic->footer(
        "Every packet is looked at, which takes a privilege: 'hvkstat doctor' says how to grant it. What belongs to "
        "no\n"
        "process, or to one that ended before it was found, has the PID 0.");
    CLI::App* events = app->add_subcommand("events", "print a line for each hardware event as it happens");
    events->add_flag("--json", raw.json, "one JSON object a line for each event");
    events->add_option("--for", raw.seconds, "end after so long; without it when interrupted")->type_name("SECONDS");
    events->footer(
        "In the first 5 seconds disks and Bluetooth are silent: everything that is there announces itself. A recorded\n"
        "machine is not waited for, and its end is the end of the recording.");

    CLI::App* doctor = app->add_subcommand("doctor", "say which sources work, why not, and what measuring costs");
    doctor->add_flag("--json", raw.json, "one JSON object");
    doctor->footer(
        "Failing sources are the answer and no failure: the exit code is 1 only when nothing could be read.");

    CLI::App* recipe = app->add_subcommand("recipe", "read, write and check recipes: what sensors a model has");
    recipe->add_option("ACTION", raw.recipeAction, "one of decode, encode, check, make")->type_name(" ");
    recipe->add_option("FILES", raw.recipeFiles, "IN; OUT for encode and make")->type_name(" ")->expected(0, -1);
    recipe->footer(
        "recipe decode IN        print the JSON text of a recipe file\n"
        "recipe encode IN OUT    make a recipe file of a JSON text\n"
        "recipe check IN         say what is wrong with either, by line and key; the exit code is 1 when something is\n"
        "recipe make [OUT]       make the recipe of this machine from what its sensors say of themselves; without OUT\n"
        "                        its JSON text is printed");

    app->get_formatter()->label("SUBCOMMAND", "COMMAND");
    for (CLI::App* command : {report, history, processes, sensors, gpu, traffic, events, doctor, recipe}) {
        command->group("Commands");
        command->allow_extras();
        command->fallthrough();
        command->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
        for (CLI::Option* option : command->get_options())
            if (option->get_items_expected_max() == 1) option->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    }
    app->footer(
        "Options may stand before or behind the command.\n"
        "Exit codes: 0 done, 1 failed, 2 wrong use. NO_COLOR turns colours off.");
    return app;
}

std::vector<std::string> commandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
    return names;
}

/// Options of one command, of the program, or of everything.
std::vector<const CLI::Option*> optionsOf(const CLI::App& app) {
    std::vector<const CLI::Option*> options;
    for (const CLI::Option* option : app.get_options())
        if (!option->get_positional()) options.push_back(option);
    return options;
}

std::vector<std::string> optionNames(const std::vector<const CLI::Option*>& options) {
    std::vector<std::string> names;
    for (const CLI::Option* option : options) {
        for (const std::string& name : option->get_lnames()) {
            // A command and the program have some of the same.
            if (std::find(names.begin(), names.end(), "--" + name) == names.end()) names.push_back("--" + name);
        }
    }
    return names;
}

bool looksLikeOption(std::string_view word) { return word.size() > 1 && word.front() == '-'; }

/// The arguments with the command in front, so that the options before it are read as its own; or what is wrong.
struct Ordered {
    std::vector<std::string> arguments;
    bool commandGiven = false;
    std::optional<Exit> wrong;
};

Ordered orderArguments(const CLI::App& app, const std::vector<std::string>& arguments) {
    std::vector<const CLI::Option*> options = optionsOf(app);
    for (const CLI::App* command : app.get_subcommands({}))
        for (const CLI::Option* option : optionsOf(*command)) options.push_back(option);

    Ordered ordered;
    ordered.arguments = arguments;
    std::optional<std::size_t> command;
    for (std::size_t index = 0; index < arguments.size() && !command; ++index) {
        const std::string& word = arguments[index];
        if (!looksLikeOption(word)) {
            command = index;
            break;
        }
        const std::string name = word.substr(0, word.find('='));
        const auto found = std::find_if(options.begin(), options.end(),
                                        [&](const CLI::Option* option) { return option->check_name(name); });
        if (found == options.end()) break;  // said below, when the parser has left it over
        const bool takesValue = (*found)->get_items_expected_max() > 0;
        if (takesValue && name.size() == word.size()) ++index;
    }
    if (!command) return ordered;

    const std::string& word = arguments[*command];
    const std::vector<std::string> commands = commandNames(app);
    if (std::find(commands.begin(), commands.end(), word) == commands.end()) {
        const auto meant = nearest(word, commands);
        ordered.wrong =
            usageError(meant ? fmt::format("'{}' is no command; did you mean '{}'?", word, *meant)
                             : fmt::format("'{}' is no command; the commands are {}", word, join(commands)));
        return ordered;
    }
    ordered.commandGiven = true;
    std::rotate(ordered.arguments.begin(), ordered.arguments.begin() + static_cast<std::ptrdiff_t>(*command),
                ordered.arguments.begin() + static_cast<std::ptrdiff_t>(*command) + 1);
    return ordered;
}

/// What to say of a word that neither the command nor the program takes.
Exit unexpected(const CLI::App& app, const CLI::App& command, const std::vector<std::string>& left) {
    const auto option = std::find_if(left.begin(), left.end(), looksLikeOption);
    if (option == left.end())
        return usageError(fmt::format("'{}' is one word too many for '{}'", left.front(), command.get_name()));

    const std::string name = option->substr(0, option->find('='));
    std::vector<const CLI::Option*> options = optionsOf(command);
    for (const CLI::Option* global : optionsOf(app)) options.push_back(global);
    const std::vector<std::string> names = optionNames(options);
    if (const auto meant = nearest(name, names))
        return usageError(fmt::format("{}: no such option; did you mean {}?", name, *meant));
    return usageError(fmt::format("{}: '{}' has no such option; it takes {}", name, command.get_name(), join(names)));
}

std::variant<std::vector<std::string>, Exit> checkModules(const CLI::App& report, const std::string& list) {
    if (report.get_option("--modules")->count() == 0) return moduleNames();
    std::vector<std::string> asked;
    for (std::size_t begin = 0; begin <= list.size();) {
        const std::size_t end = std::min(list.find(',', begin), list.size());
        asked.push_back(list.substr(begin, end - begin));
        begin = end + 1;
    }
    const std::vector<std::string> known = moduleNames();
    for (const std::string& name : asked) {
        if (findModule(name) != nullptr) continue;
        const auto meant = nearest(name, known);
        return usageError(fmt::format("--modules: '{}' is no module{}; the modules are {}", name,
                                      meant ? fmt::format(", did you mean '{}'?", *meant) : "", join(known)));
    }
    std::vector<std::string> chosen;
    for (const std::string& name : known)
        if (std::find(asked.begin(), asked.end(), name) != asked.end()) chosen.push_back(name);
    return chosen;
}

std::optional<Exit> checkInterval(const CLI::App& command, const RawOptions& raw, Options& options) {
    if (command.get_option("--interval")->count() == 0) return std::nullopt;
    const auto seconds = parseNumber(raw.interval);
    if (!seconds || *seconds < ShortestInterval || *seconds > LongestInterval)
        return badValue("--interval", raw.interval, IntervalRange);
    options.interval = *seconds;
    return std::nullopt;
}

std::optional<Exit> checkEvents(const CLI::App& events, const RawOptions& raw, Options& options) {
    if (events.get_option("--for")->count() == 0) return std::nullopt;
    const auto seconds = parseNumber(raw.seconds);
    if (!seconds || *seconds < 0 || *seconds > LongestWatch) return badValue("--for", raw.seconds, ForRange);
    options.seconds = *seconds;
    return std::nullopt;
}

std::optional<Exit> checkReport(const CLI::App& report, const RawOptions& raw, Options& options) {
    auto modules = checkModules(report, raw.modules);
    if (auto* wrong = std::get_if<Exit>(&modules)) return std::move(*wrong);
    options.modules = std::get<std::vector<std::string>>(std::move(modules));
    if (auto wrong = checkInterval(report, raw, options)) return wrong;
    if (report.get_option("--count")->count() != 0) {
        const auto count = parseWhole(raw.count);
        if (!count || *count == 0 || *count > MostSamples) return badValue("--count", raw.count, CountRange);
        options.count = *count;
    }
    return std::nullopt;
}

std::optional<Exit> checkHistory(const CLI::App& history, const RawOptions& raw, Options& options) {
    const std::vector<std::string> known = historyNames();
    if (history.get_option("MODULE")->count() == 0)
        return usageError(fmt::format("history: MODULE is missing; it is one of {}", join(known)));
    if (findHistory(raw.history).history == nullptr) {
        const auto meant = nearest(raw.history, known);
        return usageError(fmt::format("history: '{}' keeps no history{}; MODULE is one of {}", raw.history,
                                      meant ? fmt::format(", did you mean '{}'?", *meant) : "", join(known)));
    }
    options.history = raw.history;

    const auto readBound = [&](const char* name, const std::string& text, TimeBound& bound) -> std::optional<Exit> {
        if (history.get_option(name)->count() == 0) return std::nullopt;
        const auto parsed = parseTimeBound(text);
        if (!parsed) return badValue(name, text, parsed.failure().detail);
        bound = *parsed;
        return std::nullopt;
    };
    if (auto wrong = readBound("--start", raw.start, options.start)) return wrong;
    if (auto wrong = readBound("--end", raw.end, options.end)) return wrong;
    if (options.start == options.end) return usageError("--start and --end are the same moment; a window needs two");

    if (history.get_option("--interval")->count() != 0) {
        const auto seconds = parseWhole(raw.bucket);
        if (!seconds || *seconds == 0 || *seconds > LongestBucket)
            return badValue("--interval", raw.bucket, BucketRange);
        options.bucketSeconds = static_cast<std::int64_t>(*seconds);
    }
    return std::nullopt;
}

std::optional<Exit> checkRecipe(const RawOptions& raw, Options& options) {
    std::vector<std::string> known;
    for (const RecipeActionRow& row : recipeActions()) known.emplace_back(row.name);
    if (raw.recipeAction.empty())
        return usageError(fmt::format("recipe: ACTION is missing; it is one of {}", join(known)));
    const auto row = std::find_if(recipeActions().begin(), recipeActions().end(),
                                  [&](const RecipeActionRow& one) { return one.name == raw.recipeAction; });
    if (row == recipeActions().end()) {
        const auto meant = nearest(raw.recipeAction, known);
        return usageError(fmt::format("recipe: '{}' is no action{}; ACTION is one of {}", raw.recipeAction,
                                      meant ? fmt::format(", did you mean '{}'?", *meant) : "", join(known)));
    }
    options.recipeAction = row->action;
    const auto& files = raw.recipeFiles;
    if (files.size() < row->needed)
        return usageError(fmt::format("recipe {}: {} is missing", row->name, row->files[files.size()]));
    if (files.size() > row->files.size())
        return usageError(
            fmt::format("'{}' is one word too many for 'recipe {}'", files[row->files.size()], row->name));
    for (std::size_t index = 0; index < files.size(); ++index)
        if (files[index].empty())
            return usageError(fmt::format("recipe {}: {}: the name is empty", row->name, row->files[index]));
    for (std::size_t index = 0; index < files.size(); ++index)
        (row->files[index] == std::string_view("IN") ? options.input : options.outputFile) = files[index];
    return std::nullopt;
}

std::optional<Exit> checkTraffic(const CLI::App& traffic, const RawOptions& raw, Options& options) {
    if (traffic.get_option("--by")->count() != 0) {
        if (raw.trafficBy != "process" && raw.trafficBy != "interface")
            return usageError(fmt::format("--by: '{}' is not accepted; it takes process or interface", raw.trafficBy));
        options.trafficBy = raw.trafficBy == "process" ? TrafficBy::Process : TrafficBy::Interface;
    }
    return checkInterval(traffic, raw, options);
}

std::optional<Exit> checkProcesses(const CLI::App& processes, const RawOptions& raw, Options& options) {
    options.combine = raw.combine;
    options.tree = raw.tree;
    if (processes.get_option("--sort")->count() != 0) {
        const auto& known = processSortKeys();
        if (std::find(known.begin(), known.end(), raw.sort) == known.end()) {
            const auto meant = nearest(raw.sort, known);
            return usageError(fmt::format("--sort: '{}' is no metric{}; it takes one of {}", raw.sort,
                                          meant ? fmt::format(", did you mean '{}'?", *meant) : "", join(known)));
        }
        options.sort = raw.sort;
    }
    if (raw.tree) options.rows = MostRows;
    if (processes.get_option("--count")->count() != 0) {
        const auto count = parseWhole(raw.count);
        if (!count || *count == 0 || *count > MostRows) return badValue("--count", raw.count, RowsRange);
        options.rows = *count;
    }
    if (processes.get_option("--threshold")->count() != 0) {
        const auto least = parseNumber(raw.threshold);
        if (!least || *least < 0) return badValue("--threshold", raw.threshold, ThresholdRange);
        if (options.sort != "power") return usageError("--threshold goes with --sort power");
        options.threshold = *least;
    }
    if (raw.tree && raw.combine) return usageError("--tree and --combine do not go together: a tree has every family");
    return checkInterval(processes, raw, options);
}

std::variant<Options, Exit> checkOptions(const CLI::App& app, const RawOptions& raw, bool commandGiven) {
    const CLI::App& command = *app.get_subcommands().front();
    if (const auto left = app.remaining(true); !left.empty()) return unexpected(app, command, left);

    Options options;
    options.json = raw.json;
    options.root = raw.root;
    options.machine = raw.machine;
    for (const char* name : {"--root", "--machine"}) {
        const CLI::Option* option = app.get_option(name);
        if (option->count() != 0 && option->as<std::string>().empty())
            return usageError(fmt::format("{}: the name is empty", name));
    }
    if (!raw.root.empty() && !raw.machine.empty())
        return usageError("--root and --machine name two machines; one can be measured");

    std::optional<Exit> wrong;
    if (command.get_name() == "report") {
        options.command = CommandName::Report;
        options.liveWhenTerminal = !commandGiven && !raw.json && command.get_option("--count")->count() == 0;
        wrong = checkReport(command, raw, options);
    } else if (command.get_name() == "history") {
        options.command = CommandName::History;
        wrong = checkHistory(command, raw, options);
    } else if (command.get_name() == "recipe") {
        options.command = CommandName::Recipe;
        wrong = checkRecipe(raw, options);
    } else if (command.get_name() == "processes") {
        options.command = CommandName::Processes;
        wrong = checkProcesses(command, raw, options);
    } else if (command.get_name() == "traffic") {
        options.command = CommandName::Traffic;
        wrong = checkTraffic(command, raw, options);
    } else if (command.get_name() == "events") {
        options.command = CommandName::Events;
        wrong = checkEvents(command, raw, options);
    } else if (command.get_name() == "gpu") {
        options.command = CommandName::Graphics;
    } else if (command.get_name() == "sensors") {
        options.command = CommandName::Sensors;
        options.all = raw.all;
    } else {
        options.command = CommandName::Doctor;
    }
    if (wrong) return std::move(*wrong);
    return options;
}

}  // namespace

const std::vector<std::string>& processSortKeys() {
    static const std::vector<std::string> keys = {"cpu", "memory", "power", "energy", "network", "diskactivity"};
    return keys;
}

Result<TimeBound> parseTimeBound(std::string_view text) {
    if (text == "now") return TimeBound{0, true};
    const auto number = parseNumber(text);
    if (!number || *number > LatestTime || *number < -FarthestBack)
        return Failure{FailureKind::Malformed, "time", std::string(BoundRange)};
    // Nothing was measured in 1970: a plain 0 is the end of what can be measured, as -0 is.
    const bool relative = *number <= 0;
    return TimeBound{*number == 0 ? 0 : *number, relative};
}

std::variant<Options, Exit> parseArguments(const std::vector<std::string>& arguments) {
    RawOptions raw;
    const std::unique_ptr<CLI::App> app = makeParser(raw);
    Ordered ordered = orderArguments(*app, arguments);
    if (ordered.wrong) return std::move(*ordered.wrong);

    const auto asksFor = [&](std::initializer_list<std::string_view> names) {
        return std::any_of(ordered.arguments.begin(), ordered.arguments.end(), [&](const std::string& word) {
            return std::find(names.begin(), names.end(), word) != names.end();
        });
    };
    if (!ordered.commandGiven && !asksFor({"--help", "-h", "--version"}))
        ordered.arguments.insert(ordered.arguments.begin(), "report");

    try {
        std::vector<std::string> reversed(ordered.arguments.rbegin(), ordered.arguments.rend());
        app->parse(std::move(reversed));
        // Help or version was only the value of an option.
        if (app->get_subcommands().empty()) return usageError("no command");
        return checkOptions(*app, raw, ordered.commandGiven);
    } catch (const CLI::CallForHelp&) {
        return Exit{ExitOk, app->help(), {}};
    } catch (const CLI::CallForVersion& version) {
        return Exit{ExitOk, std::string(version.what()) + "\n", {}};
    } catch (const CLI::ArgumentMismatch& error) {
        const std::string_view text = error.what();
        const std::string option(text.substr(0, text.find(':')));
        const auto given = app->get_subcommands();
        return usageError(fmt::format("{}: its value is missing; it takes {}", option,
                                      acceptedBy(option, given.empty() ? std::string() : given.front()->get_name())));
    } catch (const CLI::ConversionError&) {
        const auto word = std::find_if(ordered.arguments.begin(), ordered.arguments.end(), [](const std::string& one) {
            return one.starts_with("--json=") || one.starts_with("--combine=") || one.starts_with("--tree=") ||
                   one.starts_with("--all=");
        });
        const std::string flag = word == ordered.arguments.end() ? "--json" : word->substr(0, word->find('='));
        return usageError(flag + ": it takes no value");
    } catch (const CLI::ParseError& error) {
        return usageError(error.what());
    }
}

}  // namespace hvk::hvkstat
