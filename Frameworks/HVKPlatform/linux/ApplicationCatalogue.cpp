#include "HVKPlatform/linux/ApplicationCatalogue.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <span>
#include <system_error>
#include <unordered_set>

#include "HVKPlatform/linux/SystemCalls.h"
#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk {

namespace {

constexpr std::size_t LongestEntry = std::size_t{512} << 10;
constexpr std::size_t MostEntries = 50'000;
constexpr int DeepestDirectory = 4;
constexpr int MostLinks = 8;
/// A directory that changed less than this before it was read may change again within one tick of its clock.
constexpr std::int64_t SettledAfter = 100'000'000;

constexpr std::string_view ProgramDirectories[] = {"/usr/local/bin/", "/usr/bin/",  "/bin/",
                                                   "/usr/games/",     "/usr/sbin/", "/usr/local/games/"};

std::string lowered(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

/// Splits a list of absolute paths; others are left off, as the base directory conventions want it.
void appendPaths(std::string_view list, std::vector<std::string>& paths) {
    while (!list.empty()) {
        const std::size_t colon = list.find(':');
        std::string_view one = list.substr(0, colon);
        list.remove_prefix(colon == std::string_view::npos ? list.size() : colon + 1);
        while (one.size() > 1 && one.ends_with('/')) one.remove_suffix(1);
        if (one.starts_with('/') && std::find(paths.begin(), paths.end(), one) == paths.end()) paths.emplace_back(one);
    }
}

std::string variable(const EnvironmentLookup& environment, const char* name) {
    const char* value = environment ? environment(name) : nullptr;
    return value == nullptr ? std::string() : std::string(value);
}

/// Exec without `env` and its settings.
std::span<const std::string> startedBy(const std::vector<std::string>& command) {
    std::span<const std::string> words(command);
    if (words.empty() || baseNameOf(words.front()) != "env") return words;
    do words = words.subspan(1);
    while (!words.empty() && (words.front().starts_with('-') || words.front().find('=') != std::string::npos));
    return words;
}

std::string withoutOctal(std::string_view text) {
    std::string plain;
    while (!text.empty()) {
        const auto isOctal = [&](std::size_t at) { return text[at] >= '0' && text[at] <= '7'; };
        if (text.size() >= 4 && text[0] == '\\' && isOctal(1) && isOctal(2) && isOctal(3)) {
            plain += static_cast<char>((text[1] - '0') * 64 + (text[2] - '0') * 8 + (text[3] - '0'));
            text.remove_prefix(4);
        } else {
            plain += text.front();
            text.remove_prefix(1);
        }
    }
    return plain;
}

}  // namespace

std::string_view baseNameOf(std::string_view path) { return path.substr(path.rfind('/') + 1); }

bool isProgramOfOthers(std::string_view baseName) {
    static const std::unordered_set<std::string_view> programs{
        "ash",         "awk",
        "bash",        "bun",
        "busybox",     "bwrap",
        "csh",         "dash",
        "deno",        "dotnet",
        "electron",    "env",
        "fish",        "flatpak",
        "gawk",        "gjs",
        "gjs-console", "guile",
        "java",        "ksh",
        "lua",         "luajit",
        "mawk",        "mksh",
        "mono",        "node",
        "nodejs",      "perl",
        "php",         "pkexec",
        "pypy",        "python",
        "qjs",         "rscript",
        "ruby",        "sh",
        "snap",        "snap-confine",
        "su",          "sudo",
        "doas",        "systemd-run",
        "tclsh",       "tcsh",
        "toolbox",     "distrobox-enter",
        "wine",        "wine-preloader",
        "wish",        "xdg-dbus-proxy",
        "xdg-open",    "zsh",
        "dbus-launch", "dbus-run-session",
        "run0",
    };
    // Versions: python3.11, lua5.4, guile-3.0, wine64-preloader.
    if (baseName.starts_with("wine64")) return true;
    const std::string lower = lowered(baseName);
    std::string_view plain = lower;
    if (programs.count(plain) != 0) return true;
    while (!plain.empty() &&
           (plain.back() == '.' || plain.back() == '-' || (plain.back() >= '0' && plain.back() <= '9')))
        plain.remove_suffix(1);
    return programs.count(plain) != 0;
}

std::vector<std::string> applicationDirectories(const LinuxRoot& root, const EnvironmentLookup& environment) {
    std::vector<std::string> homes;
    std::vector<std::string> paths;
    std::string system;
    if (root.directory().empty()) {
        const std::string home = variable(environment, "HOME");
        appendPaths(variable(environment, "XDG_DATA_HOME"), paths);
        if (home.starts_with('/')) {
            if (paths.empty()) paths.push_back(home + "/.local/share");
            appendPaths(home + "/.local/share/flatpak/exports/share", paths);
        }
        system = variable(environment, "XDG_DATA_DIRS");
    } else {
        for (const std::string& name : root.list("/home")) homes.push_back("/home/" + name);
        homes.emplace_back("/root");
        for (const std::string& home : homes) {
            paths.push_back(home + "/.local/share");
            paths.push_back(home + "/.local/share/flatpak/exports/share");
        }
    }
    if (system.empty()) system = "/usr/local/share:/usr/share";
    appendPaths(system, paths);
    appendPaths("/var/lib/flatpak/exports/share:/var/lib/snapd/desktop", paths);
    return paths;
}

std::vector<std::string> applicationLocales(const LinuxRoot& root, const EnvironmentLookup& environment) {
    if (root.directory().empty()) {
        std::string locale;
        for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"})
            if (locale.empty()) locale = variable(environment, name);
        // LANGUAGE counts only where there is a language at all.
        if (parse::desktopLocales(locale).empty()) return {};
        return parse::desktopLocales(variable(environment, "LANGUAGE") + ":" + locale);
    }
    for (const char* file : {"/etc/locale.conf", "/etc/default/locale"}) {
        const auto text = root.readFile(file, 4096);
        if (!text) continue;
        std::string_view rest = *text;
        bool complete = true;
        while (!rest.empty()) {
            std::string_view line = parse::trimmed(parse::takeLine(rest, complete));
            if (!line.starts_with("LANG=")) continue;
            line.remove_prefix(5);
            while (!line.empty() && line.front() == '"') line.remove_prefix(1);
            while (!line.empty() && line.back() == '"') line.remove_suffix(1);
            return parse::desktopLocales(line);
        }
    }
    return {};
}

ApplicationCatalogue::ApplicationCatalogue(const LinuxRoot& root, std::vector<std::string> directories,
                                           std::vector<std::string> locales, Diagnostics& diagnostics)
    : root_(root),
      locales_(std::move(locales)),
      source_(diagnostics.source("applications/*.desktop", "names of applications",
                                 "make the directory readable, or mend the desktop entry")) {
    for (const std::string& directory : directories) branches_.emplace_back().directory = directory + "/applications";
}

const InstalledApplication* ApplicationCatalogue::find(const Index& index, std::string_view key) const {
    const auto found = index.find(key);
    return found == index.end() || found->second.disputed ? nullptr : &applications_[found->second.application];
}

const InstalledApplication* ApplicationCatalogue::ofProgram(std::string_view path) {
    refresh();
    const std::string_view name = baseNameOf(path);
    if (name.empty() || isProgramOfOthers(name)) return nullptr;
    if (byPath_.find(path) != byPath_.end()) return find(byPath_, path);
    return find(byBaseName_, name);
}

const InstalledApplication* ApplicationCatalogue::ofId(std::string_view id) {
    refresh();
    return find(byId_, id);
}

const InstalledApplication* ApplicationCatalogue::ofWindowClass(std::string_view windowClass) {
    refresh();
    return find(byWindowClass_, lowered(windowClass));
}

const InstalledApplication* ApplicationCatalogue::ofSnap(std::string_view snap, std::string_view program) {
    refresh();
    for (const std::string_view app : {program, snap})
        if (const InstalledApplication* named = find(byId_, std::string(snap) + "_" + std::string(app))) return named;
    return find(bySnap_, snap);
}

std::size_t ApplicationCatalogue::size() {
    refresh();
    return applications_.size();
}

void ApplicationCatalogue::refresh() {
    if (checked_) return;
    checked_ = true;
    const std::vector<std::string> remote = remoteMounts();
    const auto isRemote = [&](const std::string& path) {
        return std::any_of(remote.begin(), remote.end(),
                           [&](const std::string& mount) { return (path + "/").starts_with(mount + "/"); });
    };
    bool changed = !read_;
    for (Branch& branch : branches_) {
        // A server that does not answer would hold up the whole pass.
        if (isRemote(branch.directory)) {
            changed = changed || !branch.applications.empty();
            branch.applications.clear();
            branch.watched.clear();
        } else if (branch.watched.empty() || hasChanged(branch)) {
            readBranch(branch);
            changed = true;
        }
    }
    read_ = true;
    if (changed) rebuild();
}

/// The mount points of file systems that a server stands behind, or that a look would mount; none of a saved tree.
std::vector<std::string> ApplicationCatalogue::remoteMounts() const {
    std::vector<std::string> mounts;
    if (!root_.directory().empty()) return mounts;
    const auto text = root_.readFile("/proc/self/mounts");
    if (!text) return mounts;
    static const std::unordered_set<std::string_view> types{"nfs",   "nfs4",  "cifs",   "smb3",           "smbfs",
                                                            "afs",   "ceph",  "autofs", "fuse.sshfs",     "fuse.rclone",
                                                            "davfs", "ncpfs", "coda",   "fuse.glusterfs", "lustre"};
    std::string_view rest = *text;
    bool complete = true;
    while (!rest.empty()) {
        std::string_view line = parse::takeLine(rest, complete);
        (void)parse::takeWord(line);
        const std::string_view point = parse::takeWord(line);
        if (types.count(parse::takeWord(line)) != 0 && point.size() > 1) mounts.push_back(withoutOctal(point));
    }
    return mounts;
}

ApplicationCatalogue::Watched ApplicationCatalogue::stampOf(const std::string& path) const {
    Watched watched{path};
    struct stat status {};
    countSystemCalls();
    if (::stat(root_.path(path).c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return watched;
    watched.stamp = {static_cast<std::int64_t>(status.st_dev), static_cast<std::int64_t>(status.st_ino),
                     static_cast<std::int64_t>(status.st_mtim.tv_sec),
                     static_cast<std::int64_t>(status.st_mtim.tv_nsec)};
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    const std::int64_t seconds = now.tv_sec - watched.stamp[2];
    watched.settled =
        seconds > 1 || seconds < -1 || seconds * 1'000'000'000 + now.tv_nsec - watched.stamp[3] > SettledAfter;
    return watched;
}

bool ApplicationCatalogue::hasChanged(const Branch& branch) const {
    return std::any_of(branch.watched.begin(), branch.watched.end(), [&](const Watched& watched) {
        return !watched.settled || stampOf(watched.path).stamp != watched.stamp;
    });
}

void ApplicationCatalogue::readBranch(Branch& branch) {
    Branch fresh;
    fresh.directory = branch.directory;
    readDirectory(fresh, branch.directory, "", 0);
    branch = std::move(fresh);
}

void ApplicationCatalogue::readDirectory(Branch& branch, const std::string& path, const std::string& prefix,
                                         int depth) {
    // Looked at before it is read: what changes meanwhile is read again.
    branch.watched.push_back(stampOf(path));
    if (branch.watched.back().stamp[1] == 0) return;
    std::error_code error;
    countSystemCalls(3);  // open, getdents, close
    std::filesystem::directory_iterator entry(root_.path(path), error);
    const auto broken = [&](Failure failure) {
        ++branch.broken;
        if (!branch.firstBroken) branch.firstBroken = std::move(failure);
    };
    if (error) return broken(failureFromErrno(error.value(), path));
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        std::error_code ignored;
        if (name.ends_with(".desktop")) {
            if (branch.applications.size() == MostEntries)
                return broken({FailureKind::Malformed, path, "there are too many entries to read them all"});
            readEntry(branch, path + "/" + name, prefix + name.substr(0, name.size() - 8));
        } else if (depth < DeepestDirectory && std::filesystem::is_directory(entry->symlink_status(ignored))) {
            readDirectory(branch, path + "/" + name, prefix + name + "-", depth + 1);
        }
    }
    if (error) broken(failureFromErrno(error.value(), path));
}

void ApplicationCatalogue::readEntry(Branch& branch, const std::string& path, const std::string& id) {
    // An absolute link of a saved tree means a file of that tree.
    const auto text = root_.readFile(root_.directory().empty() ? path : followed(path), LongestEntry);
    auto entry = text ? parse::parseDesktopEntry(*text, locales_) : Result<parse::DesktopEntry>(text.failure());
    if (!entry) {
        // An application that is being removed leaves a link for a moment, or for good.
        if (entry.failure().kind == FailureKind::Absent) return;
        ++branch.broken;
        if (!branch.firstBroken) {
            branch.firstBroken = entry.failure();
            branch.firstBroken->source = path;
        }
        return;
    }
    if (entry->hidden) {
        branch.applications.emplace_back(id, std::nullopt);
        return;
    }
    if (!entry->isApplication()) return;
    InstalledApplication application;
    application.id = id;
    application.name = std::move(entry->name);
    application.windowClass = std::move(entry->windowClass);
    application.snap = std::move(entry->snap);
    application.shown = !entry->noDisplay;
    const auto started = startedBy(entry->command);
    application.plain = started.size() == 1;
    // What is not installed after all names nothing that runs here by chance.
    const bool installed = entry->tryExec.empty() || findProgram(entry->tryExec);
    if (installed && !started.empty() && !isProgramOfOthers(baseNameOf(started.front())))
        application.program = started.front();
    branch.applications.emplace_back(id, std::move(application));
}

void ApplicationCatalogue::rebuild() {
    applications_.clear();
    for (Index* index : {&byPath_, &byBaseName_, &byId_, &byWindowClass_, &bySnap_}) index->clear();
    std::unordered_set<std::string_view> taken;
    std::size_t broken = 0;
    const Failure* first = nullptr;
    for (const Branch& branch : branches_) {
        for (const auto& [id, application] : branch.applications)
            if (taken.insert(id).second && application) applications_.push_back(*application);
        broken += branch.broken;
        if (first == nullptr && branch.firstBroken) first = &*branch.firstBroken;
    }
    for (std::size_t at = 0; at < applications_.size(); ++at) {
        const InstalledApplication& application = applications_[at];
        const int rank = application.shown ? 1 : 0;
        claim(byId_, application.id, at, 0);
        if (!application.windowClass.empty()) claim(byWindowClass_, lowered(application.windowClass), at, rank);
        if (!application.snap.empty()) claim(bySnap_, application.snap, at, rank);
        indexProgram(at);
    }
    source_.works();
    source_.note(first == nullptr ? std::string()
                                  : std::to_string(broken) + " desktop entries are passed over, the first: " +
                                        first->source + ": " + first->detail);
}

void ApplicationCatalogue::indexProgram(std::size_t at) {
    const InstalledApplication& application = applications_[at];
    if (application.program.empty()) return;
    const auto rankFor = [&](std::string_view name) {
        const std::string_view tail = std::string_view(application.id).substr(application.id.rfind('.') + 1);
        return (application.shown ? 4 : 0) + (application.plain ? 2 : 0) + (lowered(tail) == lowered(name) ? 1 : 0);
    };
    const auto index = [&](const std::string& path) {
        const std::string name(baseNameOf(path));
        if (name.empty() || isProgramOfOthers(name)) return;
        if (path.starts_with('/')) claim(byPath_, path, at, rankFor(name));
        claim(byBaseName_, name, at, rankFor(name));
    };
    index(application.program);
    if (const auto path = findProgram(application.program)) {
        if (*path != application.program) index(*path);
        const std::string end = followed(*path);
        if (end != *path) index(end);
    }
}

void ApplicationCatalogue::claim(Index& index, const std::string& key, std::size_t application, int rank) {
    const auto [found, isNew] = index.try_emplace(key, Claim{application, rank, false});
    Claim& claim = found->second;
    if (isNew || rank < claim.rank) return;
    if (rank > claim.rank)
        claim = {application, rank, false};
    else if (applications_[application].name != applications_[claim.application].name)
        claim.disputed = true;
}

/// Where a program of Exec or TryExec lies; nothing when it is not installed.
std::optional<std::string> ApplicationCatalogue::findProgram(const std::string& program) const {
    char buffer[8];
    const auto exists = [&](const std::string& path) {
        countSystemCalls();
        return ::readlink(root_.path(path).c_str(), buffer, sizeof buffer) >= 0 || errno == EINVAL;
    };
    if (program.starts_with('/')) return exists(program) ? std::optional<std::string>(program) : std::nullopt;
    if (program.find('/') != std::string::npos) return std::nullopt;
    for (const std::string_view directory : ProgramDirectories)
        if (std::string path = std::string(directory) + program; exists(path)) return path;
    return std::nullopt;
}

/// Where the links of a path lead within the machine; links of the directories before it stay as they are.
std::string ApplicationCatalogue::followed(std::string path) const {
    std::string target(4096, '\0');
    for (int links = 0; links < MostLinks; ++links) {
        countSystemCalls();
        const ssize_t length = ::readlink(root_.path(path).c_str(), target.data(), target.size());
        if (length <= 0) break;
        const std::filesystem::path link(target.substr(0, static_cast<std::size_t>(length)));
        path = (std::filesystem::path(path).parent_path() / link).lexically_normal().string();
    }
    return path;
}

}  // namespace hvk
