// ProcessIdentity.h - who a Linux process is for a person: its application's name, its kind, and who is responsible.
//
// Puts together where a process runs (ProcessLineage), what is installed (ApplicationCatalogue) and its executable. The
// rules stand at the questions. Windows are not looked at: a process is a foreground application by the unit that the
// desktop made for it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "HVKPlatform/Result.h"
#include "HVKPlatform/linux/ApplicationCatalogue.h"
#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/ProcessLineage.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// The identity of processes. Thread: the one that updates the processes module.
class ProcessIdentity {
public:
    /// `environment` tells where the person who asks has data and which language is wanted; a saved tree tells itself.
    ProcessIdentity(const LinuxRoot& root, const EnvironmentLookup& environment, Diagnostics& diagnostics);

    /// Called when the processes are listed anew: descent and units are read again, changed directories noticed.
    void beginPass();

    /// The process that a person would hold responsible, the first that holds:
    ///   - in a unit made for an application: the process that the unit was made for (a terminal for all it runs);
    ///   - in a sandbox of bubblewrap: of a Flatpak application the outermost bwrap, else what started that;
    ///   - below sudo, su, doas or pkexec: what started the outermost of them;
    ///   - the leader of its session while it lives;
    ///   - itself.
    Result<std::int32_t> responsible(std::int32_t pid);

    /// The name of its application, in the language of whoever asks:
    ///   - of the process that a unit names an application for (an interpreter too);
    ///   - of a Flatpak application (/app/...), a snap (/snap/NAME/...), an AppImage (/tmp/.mount_.../...);
    ///   - of the desktop entry that starts this executable.
    /// Absent when it has none: an interpreter, a program of a container (its paths are not this machine's), a tool.
    /// Denied when it has none that may be read. `path` may be empty.
    Result<std::string> displayName(std::int32_t pid, const std::string& path);

    /// "Foreground" for the process that a desktop made a unit for, unless its entry is one that menus do not show;
    /// for a service of a desktop only when menus show it. Else "BackgroundOnly".
    Result<std::string> applicationType(std::int32_t pid);

    /// A failure of a file of a process: Gone rather than Absent when the process itself ended.
    Failure failureOf(std::int32_t pid, Failure failure) const { return lineage_.failureOf(pid, std::move(failure)); }

private:
    bool isMain(std::int32_t pid, const parse::ControlGroup& group);
    const InstalledApplication* applicationOf(const parse::ControlGroup& group);
    std::optional<std::int32_t> responsibleAbove(std::int32_t pid, const ProcessDescent& descent);
    Result<std::string> flatpakName(std::int32_t pid, const parse::ControlGroup* group);
    Result<std::string> appImageName(std::int32_t pid, std::string_view path);
    const std::string& mountedName(const std::string& mount);
    std::string nameOfId(const std::string& id);

    const LinuxRoot& root_;
    ApplicationCatalogue catalogue_;
    ProcessLineage lineage_;
    SourceHealth& groupSource_;
    std::unordered_map<std::string, std::string> mountedNames_;  ///< of AppImages, by mount; empty where there is none
};

}  // namespace hvk
