#include "HVKPlatform/linux/parse/ControlGroup.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk::parse {

namespace {

constexpr std::size_t LongestPath = 4096;

bool isHexadecimal(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

bool isIdentifier(std::string_view text, std::size_t least) {
    return text.size() >= least && std::all_of(text.begin(), text.end(), isHexadecimal);
}

/// Takes `ending` off the end, or leaves the text as it is.
bool takeEnding(std::string_view& text, std::string_view ending) {
    if (!text.ends_with(ending)) return false;
    text.remove_suffix(ending.size());
    return true;
}

bool takeBeginning(std::string_view& text, std::string_view beginning) {
    if (!text.starts_with(beginning)) return false;
    text.remove_prefix(beginning.size());
    return true;
}

/// A positive number of 32 bits; 0 for anything else.
std::int32_t toPid(std::string_view word) {
    const auto number = toUnsigned(word);
    return number && *number <= INT32_MAX ? static_cast<std::int32_t>(*number) : 0;
}

std::optional<std::uint32_t> toUser(std::string_view word) {
    const auto number = toUnsigned(word);
    if (!number || *number > UINT32_MAX) return std::nullopt;
    return static_cast<std::uint32_t>(*number);
}

/// Whether a segment of a path is a unit that holds processes.
bool isUnit(std::string_view segment) { return segment.ends_with(".scope") || segment.ends_with(".service"); }

/// One segment, and where it ends in the path.
struct Segment {
    std::string_view name;
    std::size_t end = 0;
};

std::vector<Segment> segmentsOf(std::string_view path) {
    std::vector<Segment> segments;
    std::size_t at = 0;
    while (at < path.size()) {
        if (path[at] == '/') {
            ++at;
            continue;
        }
        const std::size_t end = std::min(path.find('/', at), path.size());
        segments.push_back({path.substr(at, end - at), end});
        at = end;
    }
    return segments;
}

/// The id of the container that a segment stands for, `before` being the one it lies in; empty when it is none.
std::string containerOf(std::string_view segment, std::string_view before) {
    std::string_view name = segment;
    takeEnding(name, ".scope");
    for (const std::string_view runtime :
         {"docker-", "libpod-", "cri-containerd-", "crio-", "nerdctl-", "libpod-payload-"}) {
        std::string_view id = name;
        if (takeBeginning(id, runtime) && isIdentifier(id, 12)) return std::string(id);
    }
    if (takeBeginning(name, "lxc.payload.")) return std::string(name);
    if (segment.ends_with(".scope") && takeBeginning(name, "machine-")) return unescapedUnitName(name);
    std::string_view machine = segment;
    if (takeEnding(machine, ".service") && takeBeginning(machine, "systemd-nspawn@")) return unescapedUnitName(machine);
    if (before == "lxc" || before == "lxc.payload") return std::string(segment);
    const bool below = before == "docker" || before == "libpod_parent" || before == "buildkit" ||
                       before.starts_with("kubepods") || before.starts_with("pod") || before == "ecs";
    if (below && isIdentifier(segment, 32)) return std::string(segment);
    return {};
}

/// Splits what stands between "app-" and the ending into launcher and id: an id has no '-' of its own, but for programs
/// that do not escape it.
void setApplication(ControlGroup& group, std::string_view name) {
    const std::size_t dash = name.find('-');
    if (dash != std::string_view::npos) group.launcher = unescapedUnitName(name.substr(0, dash));
    group.application = unescapedUnitName(dash == std::string_view::npos ? name : name.substr(dash + 1));
}

/// app[-launcher]-id-number.scope
bool readApplicationScope(ControlGroup& group, std::string_view name) {
    if (!takeEnding(name, ".scope") || !takeBeginning(name, "app-")) return false;
    const std::size_t dash = name.rfind('-');
    if (dash == std::string_view::npos || dash == 0) return false;
    group.leader = toPid(name.substr(dash + 1));
    setApplication(group, name.substr(0, dash));
    group.kind = group.launcher == "flatpak" ? UnitKind::Flatpak : UnitKind::ApplicationScope;
    return !group.application.empty();
}

/// app[-launcher]-id[@instance].service, dbus-:1.2-id@instance.service
bool readApplicationService(ControlGroup& group, std::string_view name) {
    if (!takeEnding(name, ".service")) return false;
    const std::string_view plain = name.substr(0, name.find('@'));
    std::string_view rest = plain;
    if (takeBeginning(rest, "app-")) {
        setApplication(group, rest);
    } else if (takeBeginning(rest, "dbus-:")) {
        const std::size_t dash = rest.find('-');
        if (dash == std::string_view::npos) return false;
        group.application = unescapedUnitName(rest.substr(dash + 1));
        group.launcher = "dbus";
    } else {
        return false;
    }
    group.kind = UnitKind::ApplicationService;
    return !group.application.empty();
}

/// Takes a UUID and the '-' or '.' before it off the end.
bool takeUUID(std::string_view& text) {
    constexpr std::size_t length = 36;
    if (text.size() <= length + 1) return false;
    const std::string_view uuid = text.substr(text.size() - length);
    for (std::size_t at = 0; at < length; ++at) {
        const bool dash = at == 8 || at == 13 || at == 18 || at == 23;
        if (dash ? uuid[at] != '-' : !isHexadecimal(uuid[at])) return false;
    }
    const char before = text[text.size() - length - 1];
    if (before != '-' && before != '.') return false;
    text.remove_suffix(length + 1);
    return true;
}

/// snap.name.app-<uuid>.scope (before snapd 2.60 with '.'), snap.name.app.service, snap.name.hook.configure...
bool readSnap(ControlGroup& group, std::string_view name) {
    if (!takeBeginning(name, "snap.")) return false;
    const bool scope = takeEnding(name, ".scope");
    if (scope)
        (void)takeUUID(name);
    else if (!takeEnding(name, ".service"))
        return false;
    const std::size_t dot = name.find('.');
    if (dot == std::string_view::npos || dot == 0) return false;
    const std::string_view app = name.substr(dot + 1);
    if (app.empty()) return false;
    group.snap = unescapedUnitName(name.substr(0, dot));
    // A service or a hook of a snap is nobody's application.
    group.kind = scope && !app.starts_with("hook.") ? UnitKind::Snap : UnitKind::SystemService;
    if (group.kind == UnitKind::Snap) group.application = group.snap + "_" + unescapedUnitName(app);
    return true;
}

void readUnit(ControlGroup& group, const std::vector<Segment>& segments, std::size_t at) {
    const std::string_view unit = segments[at].name;
    group.unit = unit;
    if (readSnap(group, unit)) return;
    if (readApplicationScope(group, unit) || readApplicationService(group, unit)) return;
    group.application.clear();
    group.launcher.clear();
    group.leader = 0;

    std::string_view name = unit;
    if (takeBeginning(name, "session-") && takeEnding(name, ".scope")) {
        group.kind = UnitKind::Session;
        group.session = name;
        return;
    }
    const bool ofUser = at > 0 && std::any_of(segments.begin(), segments.begin() + static_cast<std::ptrdiff_t>(at),
                                              [](const Segment& s) { return s.name.starts_with("user@"); });
    if (unit.starts_with("user@") || (ofUser && unit == "init.scope")) {
        group.kind = UnitKind::UserManager;
        return;
    }
    group.kind = ofUser ? UnitKind::UserService : UnitKind::SystemService;
    if (!ofUser || !takeEnding(name, ".service")) return;
    // A service that a desktop put into the slice of an application belongs to it; else its name may be an id.
    std::string_view slice = segments[at - 1].name;
    if (takeEnding(slice, ".slice") && takeBeginning(slice, "app-") && !slice.empty())
        setApplication(group, slice);
    else
        group.application = unescapedUnitName(name.substr(0, name.find('@')));
}

std::optional<std::uint32_t> userOf(const std::vector<Segment>& segments) {
    for (const Segment& segment : segments) {
        std::string_view name = segment.name;
        if ((takeEnding(name, ".service") && takeBeginning(name, "user@")) ||
            (takeEnding(name, ".slice") && takeBeginning(name, "user-")))
            if (const auto user = toUser(name)) return user;
    }
    return std::nullopt;
}

ControlGroup readPath(std::string_view path, bool unified) {
    ControlGroup group;
    group.unified = unified;
    group.path = "/";
    // The kernel marks a group that was removed while processes are still in it.
    takeEnding(path, " (deleted)");
    const std::vector<Segment> segments = segmentsOf(path);
    group.user = userOf(segments);
    for (std::size_t at = 0; at < segments.size(); ++at) {
        const std::string_view before = at > 0 ? segments[at - 1].name : std::string_view();
        std::string container = containerOf(segments[at].name, before);
        if (container.empty()) continue;
        group.kind = UnitKind::Container;
        group.unit = segments[at].name;
        group.container = std::move(container);
        group.path = path.substr(0, segments[at].end);
        return group;
    }
    for (std::size_t at = segments.size(); at-- > 0;) {
        if (!isUnit(segments[at].name)) continue;
        readUnit(group, segments, at);
        group.path = path.substr(0, segments[at].end);
        return group;
    }
    return group;
}

}  // namespace

Result<ControlGroup> parseControlGroup(std::string_view text) {
    // In the order in which they are preferred: version 2, systemd's own of version 1, any other.
    std::array<std::string_view, 3> paths;
    bool any = false;
    bool complete = true;
    while (!text.empty()) {
        std::string_view line = takeLine(text, complete);
        const std::size_t first = line.find(':');
        const std::size_t second = first == std::string_view::npos ? first : line.find(':', first + 1);
        if (second == std::string_view::npos || !toUnsigned(line.substr(0, first))) continue;
        const std::string_view controllers = line.substr(first + 1, second - first - 1);
        const std::string_view path = line.substr(second + 1);
        if (!path.starts_with('/') || path.size() > LongestPath || path.find('\0') != std::string_view::npos) continue;
        any = true;
        const std::size_t rank = controllers.empty() ? 0 : controllers == "name=systemd" ? 1 : 2;
        if (path.size() > 1 && paths[rank].empty()) paths[rank] = path;
    }
    if (!any) return Failure{FailureKind::Malformed, "/proc/[pid]/cgroup", "no line is one of a control group"};
    for (std::size_t rank = 0; rank < paths.size(); ++rank) {
        ControlGroup group = readPath(paths[rank], rank == 0);
        if (group.kind != UnitKind::None) return group;
    }
    return readPath("/", true);
}

std::string unescapedUnitName(std::string_view name) {
    std::string text;
    while (!name.empty()) {
        unsigned value = 0;
        if (name.size() >= 4 && name.starts_with("\\x") &&
            std::from_chars(name.data() + 2, name.data() + 4, value, 16).ptr == name.data() + 4 && value >= 0x20 &&
            value != 0x7F) {
            text += static_cast<char>(value);
            name.remove_prefix(4);
        } else {
            text += name.front();
            name.remove_prefix(1);
        }
    }
    return text;
}

}  // namespace hvk::parse
