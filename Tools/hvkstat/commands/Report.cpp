#include "hvkstat/commands/Report.h"

#include "hvkstat/render/ReportText.h"

namespace hvk::hvkstat {

int runReport(Session& session, const Options& options, const Host& host) {
    for (std::uint64_t done = 0; done < options.count; ++done) {
        session.wait(options.interval);
        const double time = session.sample();
        std::string text;
        if (options.json) {
            text = jsonLine(session.stats(time));
        } else {
            if (done != 0) text = "\n";
            text += drawReport(session.view(time), host.palette(), host.width);
        }
        if (!host.output.write(text)) break;
    }
    return ExitOk;
}

}  // namespace hvk::hvkstat
