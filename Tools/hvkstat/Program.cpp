#include "hvkstat/Program.h"

#include <fmt/format.h>

#include <cerrno>
#include <exception>
#include <system_error>

#include "hvkstat/Options.h"
#include "hvkstat/Session.h"
#include "hvkstat/commands/Doctor.h"
#include "hvkstat/commands/Events.h"
#include "hvkstat/commands/Graphics.h"
#include "hvkstat/commands/History.h"
#include "hvkstat/commands/Live.h"
#include "hvkstat/commands/Processes.h"
#include "hvkstat/commands/Recipe.h"
#include "hvkstat/commands/Report.h"
#include "hvkstat/commands/Sensors.h"
#include "hvkstat/commands/Traffic.h"
#include "hvkstat/render/Units.h"

namespace hvk::hvkstat {

namespace {

int runCommand(const Options& options, const Host& host) {
    // Files are read and written; only one that is made needs a machine.
    if (options.command == CommandName::Recipe) return runRecipe(options, host);
    auto opened = Session::open(options);
    if (!opened) {
        const Failure& failure = opened.failure();
        host.say(fmt::format("{}: {} ({})", printable(failure.source), printable(failure.detail),
                             failureKindName(failure.kind)));
        return ExitFailed;
    }
    Session& session = **opened;
    switch (options.command) {
        case CommandName::History: return runHistory(session, options, host);
        case CommandName::Processes: return runProcesses(session, options, host);
        case CommandName::Sensors: return runSensors(session, options, host);
        case CommandName::Graphics: return runGraphics(session, options, host);
        case CommandName::Traffic: return runTraffic(session, options, host);
        case CommandName::Events: return runEvents(session, options, host);
        case CommandName::Doctor: return runDoctor(session, options, host);
        case CommandName::Recipe:
        case CommandName::Report: break;
    }
    if (options.liveWhenTerminal && host.terminal) return runLive(session, options, host);
    return runReport(session, options, host);
}

/// The exit code of a run that ended with `code`, once what became of the output is known.
int finish(int code, const Host& host) {
    if (host.output.works()) return code;
    if (host.output.error() == EPIPE) return ExitOk;
    host.say(fmt::format("cannot write the output: {}", std::generic_category().message(host.output.error())));
    return ExitFailed;
}

}  // namespace

void Host::say(std::string_view message) const { messages.write(fmt::format("hvkstat: {}\n", message)); }

int runProgram(const std::vector<std::string>& arguments, const Host& host) {
    try {
        const auto parsed = parseArguments(arguments);
        if (const Exit* exit = std::get_if<Exit>(&parsed)) {
            if (!exit->output.empty()) host.output.write(exit->output);
            if (!exit->message.empty()) host.messages.write(exit->message);
            return finish(exit->code, host);
        }
        return finish(runCommand(std::get<Options>(parsed), host), host);
    } catch (const std::exception& error) {
        host.say(error.what());
        return ExitFailed;
    }
}

bool coloursWanted(const char* noColor, const char* term) {
    if (noColor != nullptr && *noColor != '\0') return false;
    return term != nullptr && std::string_view(term) != "dumb";
}

std::string jsonLine(const Value& value) { return value.dump(-1, ' ', false, Value::error_handler_t::replace) + '\n'; }

}  // namespace hvk::hvkstat
