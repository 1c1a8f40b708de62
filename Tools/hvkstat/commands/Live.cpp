#include "hvkstat/commands/Live.h"

#include "hvkstat/render/ReportText.h"
#include "hvkstat/terminal/Screen.h"

namespace hvk::hvkstat {

namespace {

constexpr std::string_view Home = "\x1b[H";
constexpr std::string_view ClearToLineEnd = "\x1b[K";
constexpr std::string_view ClearBelow = "\x1b[J";

/// Lets one interval pass, on the machine's clock and on ours.
void pass(Session& session, Screen& screen, double seconds) {
    if (session.recorded() == nullptr) {
        // The screen ends the main queue's run when a key or a signal comes.
        session.wait(seconds);
        return;
    }
    // The recorded machine's time does not pass by itself.
    screen.rest(seconds);
    session.wait(seconds);
}

}  // namespace

int runLive(Session& session, const Options& options, const Host& host) {
    Queue& main = session.machine().queues().main();
    QueuesPort& queues = session.machine().queues();
    // On the main queue, so that a key between two runs ends the next one.
    Screen screen(host.output, [&main, &queues] { main.async([&queues] { queues.stopMain(); }); });
    if (!screen.works()) {
        host.say("the terminal cannot be used for the live view; try 'hvkstat report'");
        return ExitFailed;
    }
    while (!screen.ended()) {
        const double time = session.sample();
        const ScreenSize size = screen.size();
        std::string text = drawReport(session.view(time), host.palette(), size.columns);
        text += host.palette().paint(Style::Faint, "q quits") + '\n';
        if (!host.output.write(std::string(Home) + fitToScreen(text, size.rows))) break;
        pass(session, screen, options.interval);
    }
    return ExitOk;
}

std::string fitToScreen(const std::string& text, std::size_t rows) {
    std::string fitted;
    std::size_t begin = 0;
    for (std::size_t row = 0; row < rows && begin < text.size(); ++row) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        if (row != 0) fitted += "\r\n";
        fitted.append(text, begin, end - begin);
        fitted += ClearToLineEnd;
        begin = end + 1;
    }
    fitted += ClearBelow;
    return fitted;
}

}  // namespace hvk::hvkstat
