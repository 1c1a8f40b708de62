#include "HVKBase/Resources.h"

#include <dlfcn.h>

#include <filesystem>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

namespace hvk {

namespace {

namespace fs = std::filesystem;

constexpr const char* BelowPrefix = "share/HVKStatisticsKit";

/// lib/x86_64-linux-gnu lies two directories below its prefix; nothing installed lies deeper.
constexpr int LevelsAbove = 2;

/// An address in the image that this file was linked into.
const char anchor = 0;

/// The file without links in its path; nothing when it is not there.
std::optional<fs::path> existing(const fs::path& file) {
    std::error_code error;
    const fs::path real = fs::canonical(file, error);
    if (error || !fs::is_regular_file(real, error)) return std::nullopt;
    return real;
}

/// The library, or the program that contains its objects. A program may be named as its caller pleased, which need not
/// be a path: then nothing.
std::optional<fs::path> ownImage() {
    Dl_info info{};
    if (::dladdr(&anchor, &info) == 0 || info.dli_fname == nullptr) return std::nullopt;
    const fs::path name = info.dli_fname;
    if (!name.has_parent_path()) return std::nullopt;
    return existing(name);
}

/// The running program, where the system has a link to it.
std::optional<fs::path> runningProgram() { return existing("/proc/self/exe"); }

std::optional<std::string> nearestAbove(const fs::path& image) {
    fs::path place = image.parent_path();
    for (int level = 0; level <= LevelsAbove; ++level, place = place.parent_path()) {
        std::error_code error;
        const fs::path found = place / BelowPrefix;
        if (fs::is_directory(found, error)) return found.string();
    }
    return std::nullopt;
}

std::string findResources() {
    for (const auto& image : {ownImage(), runningProgram()})
        if (image)
            if (auto found = nearestAbove(*image)) return *found;
    return {};
}

/// What was set, behind its lock.
class Setting {
public:
    /// Never destroyed: modules of static duration may ask while the process ends.
    static Setting& shared() {
        static Setting& setting = *new Setting;
        return setting;
    }

    void set(std::string path) {
        while (path.size() > 1 && path.back() == '/') path.pop_back();
        const std::lock_guard lock(mutex_);
        set_ = std::move(path);
    }

    std::string get() {
        const std::lock_guard lock(mutex_);
        if (!set_.empty()) return set_;
        if (!found_) found_ = findResources();
        return *found_;
    }

private:
    std::mutex mutex_;
    std::string set_;
    std::optional<std::string> found_;
};

}  // namespace

std::string resourceDirectory() { return Setting::shared().get(); }

void setResourceDirectory(std::string path) { Setting::shared().set(std::move(path)); }

}  // namespace hvk
