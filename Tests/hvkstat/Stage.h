// Stage.h - what the tests of the host program share: a machine written to a file, and the program run on it.
#pragma once

#include <string>
#include <vector>

#include "HVKPlatform/Value.h"

namespace hvk::hvkstat {

/// What a run left behind.
struct Ran {
    int code = -1;
    std::string output;
    std::string messages;
};

/// A clustered machine of four cores with six frames, one a second from 1700000000 on: processors busy by 10 % more in
/// each second, load 1.00 to 1.05, swap filling by 10 % a second.
Value sixSeconds();

/// A file that is gone at the end of the scope.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& content);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

/// An empty directory that is gone, with what is in it, at the end of the scope.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

/// Runs the program inside this process; times are shown in UTC.
Ran run(const std::vector<std::string>& arguments, bool colours = false);

/// Runs it on a recorded machine.
Ran runOn(const Value& recording, std::vector<std::string> arguments, bool colours = false);

}  // namespace hvk::hvkstat
