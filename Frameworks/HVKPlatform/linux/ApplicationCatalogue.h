// ApplicationCatalogue.h - the applications that a machine has installed, as their desktop entries tell.
//
// Reads the .desktop files below the data directories at the first question, and again those of a directory whose
// modification time changed since; a file that is edited in place is noticed with the next file that comes or goes. It
// owns no process: who runs which application is asked of ProcessIdentity.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/parse/DesktopEntry.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// One installed application.
struct InstalledApplication {
    std::string id;           ///< the name of its file: "org.gnome.Maps"
    std::string name;         ///< for a person: "Maps"
    std::string program;      ///< what Exec starts, behind env and its settings; empty for what a wrapper starts
    std::string windowClass;  ///< StartupWMClass
    std::string snap;         ///< the instance name of its snap
    bool shown = true;        ///< whether menus show it
    bool plain = true;        ///< Exec has a program and no argument
};

/// Where the environment of a program is asked; nullptr for a variable that is not set.
using EnvironmentLookup = std::function<const char*(const char*)>;

/// The data directories of a machine that may hold applications/, the one that wins first: XDG_DATA_HOME,
/// XDG_DATA_DIRS, what Flatpak exports, snapd's. A saved tree has no environment: there it is every home below /home,
/// then the usual directories. Names are the machine's.
std::vector<std::string> applicationDirectories(const LinuxRoot& root, const EnvironmentLookup& environment);

/// The locales of names: of the person who asks (LANGUAGE, LC_ALL, LC_MESSAGES, LANG); of a saved tree its own.
std::vector<std::string> applicationLocales(const LinuxRoot& root, const EnvironmentLookup& environment);

/// Whether a program of this base name stands for what it runs (interpreters, shells, sandboxes, sudo): "python3.11",
/// "java", "bash", "bwrap". No application is known by such a program.
bool isProgramOfOthers(std::string_view baseName);

/// The part of a path behind its last slash.
std::string_view baseNameOf(std::string_view path);

/// The installed applications. What it hands out stays valid until the next question after `beginPass`. Thread: one at
/// a time.
class ApplicationCatalogue {
public:
    /// `directories` and `locales` as the functions above give them.
    ApplicationCatalogue(const LinuxRoot& root, std::vector<std::string> directories, std::vector<std::string> locales,
                         Diagnostics& diagnostics);

    /// Lets the next question look whether a directory changed; costs nothing itself.
    void beginPass() { checked_ = false; }

    /// The application that an executable belongs to: the one whose Exec names this path, or a link to it; else the one
    /// whose program has its base name. nullptr when there is none, or when several have an equal claim: one that menus
    /// show goes before one they do not, then one without arguments, then one that is called like its program.
    const InstalledApplication* ofProgram(std::string_view path);

    /// By the id that desktops use for it; nullptr when there is none.
    const InstalledApplication* ofId(std::string_view id);

    /// By the class of its windows, in any letter case.
    const InstalledApplication* ofWindowClass(std::string_view windowClass);

    /// By snap and one of its programs; the snap's only application when none is called like the program.
    const InstalledApplication* ofSnap(std::string_view snap, std::string_view program);

    /// The locales that names are given in.
    const std::vector<std::string>& locales() const { return locales_; }

    /// How many there are.
    std::size_t size();

private:
    /// One directory as it was when it was read.
    struct Watched {
        std::string path;
        std::array<std::int64_t, 4> stamp{};  ///< device, inode, seconds and nanoseconds; all 0 when absent
        bool settled = true;                  ///< it was old enough for the next change to have another time
    };
    /// What one data directory holds, those below it included.
    struct Branch {
        std::string directory;
        std::vector<Watched> watched;
        /// Empty for an id that is deleted here: it hides the others of that id.
        std::vector<std::pair<std::string, std::optional<InstalledApplication>>> applications;
        std::size_t broken = 0;
        std::optional<Failure> firstBroken;
    };
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };
    /// The application with the best claim to a key.
    struct Claim {
        std::size_t application = 0;
        int rank = 0;
        bool disputed = false;
    };
    using Index = std::unordered_map<std::string, Claim, Hash, std::equal_to<>>;

    void refresh();
    bool hasChanged(const Branch& branch) const;
    void readBranch(Branch& branch);
    void readDirectory(Branch& branch, const std::string& path, const std::string& prefix, int depth);
    void readEntry(Branch& branch, const std::string& path, const std::string& id);
    void rebuild();
    void claim(Index& index, const std::string& key, std::size_t application, int rank);
    void indexProgram(std::size_t application);
    std::optional<std::string> findProgram(const std::string& program) const;
    std::string followed(std::string path) const;
    Watched stampOf(const std::string& path) const;
    std::vector<std::string> remoteMounts() const;
    const InstalledApplication* find(const Index& index, std::string_view key) const;

    const LinuxRoot& root_;
    std::vector<std::string> locales_;
    SourceHealth& source_;
    std::vector<Branch> branches_;
    std::vector<InstalledApplication> applications_;
    Index byPath_;
    Index byBaseName_;
    Index byId_;
    Index byWindowClass_;
    Index bySnap_;
    bool checked_ = false;
    bool read_ = false;
};

}  // namespace hvk
