// ControlGroup.h - the text of /proc/[pid]/cgroup: in which systemd unit, application or container a process runs.
//
// Reads version 2 ("0::/user.slice/...") and version 1 ("1:name=systemd:/...") lines. Names follow systemd's rules for
// units and the XDG conventions for applications; whoever may make control groups may choose any name, so an id from
// here is a claim and never a path.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "HVKPlatform/Result.h"

namespace hvk::parse {

/// What the innermost unit of a process is.
enum class UnitKind : std::uint8_t {
    None,                ///< no unit: the root group, or a machine without systemd
    ApplicationScope,    ///< app-gnome-org.gnome.Maps-4242.scope: started by a desktop
    ApplicationService,  ///< app-org.gnome.Maps@0.service, dbus-:1.2-org.gnome.Maps@0.service
    Flatpak,             ///< app-flatpak-org.gnome.Maps-4242.scope
    Snap,                ///< snap.maps.maps-<uuid>.scope, or a service of a snap
    Session,             ///< session-3.scope: a login
    UserService,         ///< any other unit of a user's service manager
    UserManager,         ///< the user's service manager itself: user@1000.service/init.scope
    SystemService,       ///< any other unit of the system
    Container,           ///< docker, podman, lxc, kubernetes, systemd-nspawn
};

/// Where a process runs.
struct ControlGroup {
    UnitKind kind = UnitKind::None;
    bool unified = false;  ///< the path is one of version 2
    std::string path;      ///< through the unit: "/user.slice/.../app-gnome-org.gnome.Maps-4242.scope"; "/" without one
    std::string unit;      ///< "app-gnome-org.gnome.Maps-4242.scope" as the kernel has it; empty without one
    std::string application;  ///< the id without escapes: "org.gnome.Maps"; a snap's is "maps_maps"; may be a mere
                              ///< guess for a UserService, whose name it then is
    std::string launcher;     ///< "gnome"; empty when not told
    std::string snap;         ///< the instance name of a snap, "maps"
    std::string container;    ///< the id or name of a container, with kind Container
    std::string session;      ///< "3", with kind Session
    std::int32_t leader = 0;  ///< the number at the end of a scope's name, as a rule the pid it was made for; else 0
    std::optional<std::uint32_t> user;  ///< whose service manager or session it is under

    /// Whether the unit was made for one application of a desktop.
    bool isApplication() const {
        return kind == UnitKind::ApplicationScope || kind == UnitKind::ApplicationService ||
               kind == UnitKind::Flatpak || kind == UnitKind::Snap;
    }
};

/// The version 2 line holds unless it names no unit, then that of systemd's own hierarchy, then any other.
/// Malformed when no line is one of a control group.
Result<ControlGroup> parseControlGroup(std::string_view text);

/// Undoes systemd's escapes: "a\x2db" is "a-b". What is no escape, or escapes a control character, stays as it is.
std::string unescapedUnitName(std::string_view name);

}  // namespace hvk::parse
