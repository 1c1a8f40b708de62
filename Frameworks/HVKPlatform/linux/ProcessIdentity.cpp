#include "HVKPlatform/linux/ProcessIdentity.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "HVKPlatform/linux/parse/DesktopEntry.h"

namespace hvk {

namespace {

constexpr int MostAncestors = 32;
constexpr std::size_t LongestEnvironment = std::size_t{128} << 10;
constexpr std::size_t LongestId = 255;
constexpr std::size_t MostMounts = 256;

std::string fileOf(std::int32_t pid, const char* name) { return "/proc/" + std::to_string(pid) + "/" + name; }

bool isSandbox(std::string_view command) { return command == "bwrap"; }

/// Programs that run another with somebody else's rights.
bool isElevator(std::string_view command) {
    constexpr std::array<std::string_view, 5> commands{"sudo", "su", "doas", "pkexec", "runuser"};
    return std::find(commands.begin(), commands.end(), command) != commands.end();
}

/// The ids of applications are letters, digits, '.', '_' and '-'; anything else is somebody's invention.
bool isApplicationId(std::string_view id) {
    return !id.empty() && id.size() <= LongestId && std::all_of(id.begin(), id.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_' ||
               c == '-';
    });
}

/// The snap of /snap/NAME/REVISION/...; empty for another path.
std::string_view snapOf(std::string_view path) {
    for (const std::string_view prefix : {"/snap/", "/var/lib/snapd/snap/"}) {
        if (!path.starts_with(prefix)) continue;
        const std::string_view rest = path.substr(prefix.size());
        const std::size_t slash = rest.find('/');
        return slash == std::string_view::npos ? std::string_view() : rest.substr(0, slash);
    }
    return {};
}

/// The mount of an AppImage, "/tmp/.mount_Abc123"; empty for another path.
std::string_view appImageMountOf(std::string_view path) {
    const std::size_t mount = path.find("/.mount_");
    if (mount == std::string_view::npos) return {};
    const std::size_t end = path.find('/', mount + 1);
    return end == std::string_view::npos ? std::string_view() : path.substr(0, end);
}

/// The value of a variable in the NUL-separated text of /proc/[pid]/environ.
std::string_view variableIn(std::string_view environment, std::string_view assignment) {
    while (!environment.empty()) {
        const std::size_t end = std::min(environment.find('\0'), environment.size());
        const std::string_view one = environment.substr(0, end);
        if (one.starts_with(assignment)) return one.substr(assignment.size());
        environment.remove_prefix(std::min(end + 1, environment.size()));
    }
    return {};
}

Failure nameless(std::int32_t pid) {
    return {FailureKind::Absent, fileOf(pid, "exe"), "no application belongs to this program"};
}

}  // namespace

ProcessIdentity::ProcessIdentity(const LinuxRoot& root, const EnvironmentLookup& environment, Diagnostics& diagnostics)
    : root_(root),
      catalogue_(root, applicationDirectories(root, environment), applicationLocales(root, environment), diagnostics),
      lineage_(root),
      groupSource_(diagnostics.source("/proc/[pid]/cgroup", "applications that a desktop started",
                                      "mount procfs without hidepid")) {}

void ProcessIdentity::beginPass() {
    lineage_.beginPass();
    catalogue_.beginPass();
}

/// Whether a unit that names an application means this process: it leads the unit, or it is what the sandbox that leads
/// it runs.
bool ProcessIdentity::isMain(std::int32_t pid, const parse::ControlGroup& group) {
    const std::int32_t leader = lineage_.leaderOf(group, pid);
    if (leader == pid) return true;
    if (group.kind != parse::UnitKind::Flatpak) return false;
    const auto own = lineage_.descent(pid);
    if (!own || isSandbox(own->command) || own->command == "xdg-dbus-proxy") return false;
    const auto parent = lineage_.descent(own->parent);
    return parent && isSandbox(parent->command);
}

/// The entry of the application that a unit names; nullptr when it names none that is installed.
const InstalledApplication* ProcessIdentity::applicationOf(const parse::ControlGroup& group) {
    if (group.application.empty()) return nullptr;
    if (const InstalledApplication* application = catalogue_.ofId(group.application)) return application;
    if (group.kind == parse::UnitKind::Snap)
        return catalogue_.ofSnap(group.snap, std::string_view(group.application).substr(group.snap.size() + 1));
    return group.isApplication() ? catalogue_.ofWindowClass(group.application) : nullptr;
}

/// The rules of sandboxes and of programs that lend rights, from the nearest ancestor on.
std::optional<std::int32_t> ProcessIdentity::responsibleAbove(std::int32_t pid, const ProcessDescent& descent) {
    std::int32_t at = pid;
    ProcessDescent own = descent;
    for (int steps = 0; steps < MostAncestors && own.parent > 1 && own.parent != at; ++steps) {
        const std::int32_t above = own.parent;
        const auto parent = lineage_.descent(above);
        if (!parent) return std::nullopt;
        const auto runsOthers = isSandbox(parent->command)    ? &isSandbox
                                : isElevator(parent->command) ? &isElevator
                                                              : nullptr;
        at = above;
        own = *parent;
        if (runsOthers == nullptr) continue;
        for (; steps < MostAncestors; ++steps) {
            const auto next = lineage_.descent(own.parent);
            if (!next || own.parent == at || !runsOthers(next->command)) break;
            at = own.parent;
            own = *next;
        }
        const bool isFlatpak =
            runsOthers == &isSandbox && root_.readFile(fileOf(pid, "root/.flatpak-info"), 1).hasValue();
        return isFlatpak || own.parent <= 1 ? at : own.parent;
    }
    return std::nullopt;
}

Result<std::int32_t> ProcessIdentity::responsible(std::int32_t pid) {
    const auto descent = lineage_.descent(pid);
    if (!descent) return descent.failure();
    if (descent->isKernelThread) return pid;
    const auto group = lineage_.group(pid);
    if (!group && group.failure().kind == FailureKind::Gone) return group.failure();
    if (group && group->isApplication()) return lineage_.leaderOf(*group, pid);
    if (const auto above = responsibleAbove(pid, *descent)) return *above;
    const std::int32_t leader = descent->session;
    if (leader <= 1 || leader == pid) return pid;
    const auto its = lineage_.descent(leader);
    if (!its) return pid;
    // sudo gives what it runs a session of its own.
    return isElevator(its->command) && its->parent > 1 ? its->parent : leader;
}

Result<std::string> ProcessIdentity::applicationType(std::int32_t pid) {
    const auto group = lineage_.group(pid);
    if (!group) {
        if (group.failure().kind == FailureKind::Malformed) (void)groupSource_.failed(group.failure());
        return group.failure();
    }
    groupSource_.works();
    if (group->isApplication() && isMain(pid, *group)) {
        const InstalledApplication* application = applicationOf(*group);
        const bool isScope = group->kind != parse::UnitKind::ApplicationService;
        if (application != nullptr ? application->shown : isScope) return std::string("Foreground");
    }
    return std::string("BackgroundOnly");
}

std::string ProcessIdentity::nameOfId(const std::string& id) {
    const InstalledApplication* application = catalogue_.ofId(id);
    return application != nullptr ? application->name : id;
}

/// The name of a Flatpak application: by its unit, else by the file that Flatpak puts into the sandbox.
Result<std::string> ProcessIdentity::flatpakName(std::int32_t pid, const parse::ControlGroup* group) {
    if (group != nullptr && group->kind == parse::UnitKind::Flatpak && isApplicationId(group->application))
        return nameOfId(group->application);
    const std::string file = fileOf(pid, "root/.flatpak-info");
    const auto text = root_.readFile(file, 65536);
    if (!text) return lineage_.failureOf(pid, text.failure());
    const std::string id = parse::keyFileValue(*text, "[Application]", "name");
    if (!isApplicationId(id)) return Failure{FailureKind::Malformed, file, "it names no application"};
    return nameOfId(id);
}

/// The name in the desktop entry at the root of an AppImage's mount, read once for each mount.
const std::string& ProcessIdentity::mountedName(const std::string& mount) {
    if (mountedNames_.size() >= MostMounts) mountedNames_.clear();
    const auto [found, isNew] = mountedNames_.try_emplace(mount);
    if (!isNew) return found->second;
    for (const std::string& name : root_.list(mount)) {
        if (!name.ends_with(".desktop")) continue;
        const auto text = root_.readFile(mount + "/" + name);
        const auto entry =
            text ? parse::parseDesktopEntry(*text, catalogue_.locales()) : Result<parse::DesktopEntry>(text.failure());
        if (!entry || entry->hidden || !entry->isApplication()) continue;
        found->second = entry->name;
        break;
    }
    return found->second;
}

/// The name of an AppImage: its installed entry, else the entry inside it, else its file.
Result<std::string> ProcessIdentity::appImageName(std::int32_t pid, std::string_view path) {
    const auto environment = root_.readFile(fileOf(pid, "environ"), LongestEnvironment);
    const std::string image(environment ? variableIn(*environment, "APPIMAGE=") : std::string_view());
    if (!image.empty())
        if (const InstalledApplication* application = catalogue_.ofProgram(image)) return application->name;
    if (const std::string& name = mountedName(std::string(appImageMountOf(path))); !name.empty()) return name;
    if (image.empty()) return environment ? nameless(pid) : lineage_.failureOf(pid, environment.failure());
    std::string_view name = baseNameOf(image);
    if (name.ends_with(".AppImage")) name.remove_suffix(9);
    std::string shown = parse::shownText(name);
    if (shown.empty()) return nameless(pid);
    return shown;
}

Result<std::string> ProcessIdentity::displayName(std::int32_t pid, const std::string& path) {
    const auto group = lineage_.group(pid);
    if (!group && group.failure().kind == FailureKind::Gone) return group.failure();
    if (group && group->kind == parse::UnitKind::Container) return nameless(pid);
    const parse::ControlGroup* unit = group ? &*group : nullptr;
    std::string_view program = path;
    if (program.ends_with(" (deleted)")) program.remove_suffix(10);

    const bool mayName = unit != nullptr && !unit->application.empty();
    if (mayName && isMain(pid, *unit)) {
        if (const InstalledApplication* application = applicationOf(*unit)) return application->name;
        if (unit->kind == parse::UnitKind::Flatpak) return flatpakName(pid, unit);
    }
    // The sandbox of a Flatpak application has it at /app, and a tree of its own at /usr.
    const std::string_view base = baseNameOf(program);
    if (program.starts_with("/app/") && !isProgramOfOthers(base)) {
        auto name = flatpakName(pid, unit);
        if (name || name.failure().kind != FailureKind::Absent) return name;
    }
    if (unit != nullptr && unit->kind == parse::UnitKind::Flatpak) return nameless(pid);
    if (base.empty() || isProgramOfOthers(base)) {
        if (!group) return group.failure();
        return nameless(pid);
    }
    if (const std::string_view snap = snapOf(program); !snap.empty()) {
        const InstalledApplication* application = catalogue_.ofSnap(snap, base);
        if (application != nullptr) return application->name;
        return nameless(pid);
    }
    if (!appImageMountOf(program).empty()) return appImageName(pid, program);
    if (const InstalledApplication* application = catalogue_.ofProgram(program)) return application->name;
    if (!group) return group.failure();
    return nameless(pid);
}

}  // namespace hvk
