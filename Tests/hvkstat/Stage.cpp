#include "hvkstat/Stage.h"

#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "hvkstat/Program.h"

namespace hvk::hvkstat {

Value sixSeconds() {
    constexpr double Start = 1700000000;
    Value recording = Value::parse(R"({
        "schema": 1,
        "name": "six seconds",
        "system": {
            "operatingSystemVersion": [14, 0, 0],
            "operatingSystemName": "Example 1.0",
            "modelName": "Example,1",
            "bootTime": 1699900000,
            "pageSize": 4096
        },
        "processor": {"architecture": "clustered"},
        "memory": {
            "physicalMemory": 8589934592,
            "virtualMemory": {"wireCount": 524288, "freeCount": 262144, "activeCount": 0, "inactiveCount": 0,
                "compressorPageCount": 131072, "externalPageCount": 393216, "internalPageCount": 786432,
                "purgeableCount": 131072, "pageIns": 1000, "pageOuts": 50}
        },
        "registry": {"name": "Root", "children": [
            {"name": "cpu0", "classes": ["IOPlatformDevice"],
             "properties": {"cluster-type": {"$data": "4500"}, "logical-cpu-id": 0}},
            {"name": "cpu1", "classes": ["IOPlatformDevice"],
             "properties": {"cluster-type": {"$data": "4500"}, "logical-cpu-id": 1}},
            {"name": "cpu2", "classes": ["IOPlatformDevice"],
             "properties": {"cluster-type": {"$data": "5000"}, "logical-cpu-id": 2}},
            {"name": "cpu3", "classes": ["IOPlatformDevice"],
             "properties": {"cluster-type": {"$data": "5000"}, "logical-cpu-id": 3}}
        ]}
    })");
    int user = 0;
    int idle = 0;
    for (int second = 0; second < 6; ++second) {
        user += 10 * second;
        idle += 90 - 10 * second;
        const Value ticks = {user, 10 * second, idle, 0};
        recording["frames"].push_back({
            {"time", Start + second},
            {"processor", {{"ticks", {ticks, ticks, ticks, ticks}}}},
            {"load", {{"values", {100 + second, 50, 25}}, {"scale", 100}}},
            {"memory",
             {{"swapUsage",
               {{"total", 1000000}, {"available", 1000000 - 100000 * second}, {"used", 100000 * second}}}}},
        });
    }
    return recording;
}

TemporaryFile::TemporaryFile(const std::string& content)
    : path_((std::filesystem::temp_directory_path() / "hvkstat-XXXXXX").string()) {
    const int descriptor = ::mkstemp(path_.data());
    if (descriptor < 0) throw std::runtime_error("no temporary file");
    ::close(descriptor);
    std::ofstream(path_) << content;
}

TemporaryFile::~TemporaryFile() { std::filesystem::remove(path_); }

TemporaryDirectory::TemporaryDirectory() : path_((std::filesystem::temp_directory_path() / "hvkstat-XXXXXX").string()) {
    if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary directory");
}

TemporaryDirectory::~TemporaryDirectory() { std::filesystem::remove_all(path_); }

Ran run(const std::vector<std::string>& arguments, bool colours) {
    ::setenv("TZ", "UTC0", 1);
    ::tzset();
    Ran result;
    const auto into = [](std::string& text) {
        return Output([&text](std::string_view more) {
            text += more;
            return 0;
        });
    };
    Output output = into(result.output);
    Output messages = into(result.messages);
    Host host{output, messages};
    host.colours = colours;
    result.code = runProgram(arguments, host);
    return result;
}

Ran runOn(const Value& recording, std::vector<std::string> arguments, bool colours) {
    const TemporaryFile file(recording.dump());
    arguments.insert(arguments.end(), {"--machine", file.path()});
    return run(arguments, colours);
}

}  // namespace hvk::hvkstat
