// Who the processes of a saved Linux tree are for a person: desktops, sandboxes, images, sudo, containers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "HVKPlatform/linux/ApplicationCatalogue.h"
#include "HVKPlatform/linux/LinuxMachine.h"
#include "HVKPlatform/linux/SystemCalls.h"
#include "support/SavedTree.h"

namespace hvk {
namespace {

using test::SavedTree;
using testing::HasSubstr;

const std::string User = "/user.slice/user-1000.slice/user@1000.service/app.slice/";

/// A tree whose processes are told by parent, session and unit.
class SavedIdentity : public testing::Test {
protected:
    SavedIdentity() {
        tree.write("/home/ann/.profile", "");
        process(1, "systemd", 0, 1, "/init.scope");
        process(50, "bash", 1, 50, "/user.slice/user-1000.slice/session-3.scope");
    }

    void process(int pid, const std::string& command, int parent, int session, const std::string& unit) {
        const std::string directory = "/proc/" + std::to_string(pid) + "/";
        tree.write(directory + "stat", std::to_string(pid) + " (" + command + ") S " + std::to_string(parent) + " 1 " +
                                           std::to_string(session) +
                                           " 0 -1 4194304 1 2 3 4 5 6 7 8 20 0 1 0 5000 1 30 9\n");
        tree.write(directory + "cgroup", "0::" + unit + "\n");
    }

    void application(const std::string& id, const std::string& name, const std::string& rest,
                     const std::string& data = "/usr/share") {
        tree.write(data + "/applications/" + id + ".desktop",
                   "[Desktop Entry]\nType=Application\nName=" + name + "\n" + rest + "\n");
    }

    void link(const std::string& file, const std::string& target) {
        std::filesystem::create_directories(std::filesystem::path(tree.path(file)).parent_path());
        std::filesystem::create_symlink(target, tree.path(file));
    }

    ProcessTablePort& table() {
        if (!machine) machine = std::make_unique<LinuxMachine>(tree.root());
        return machine->processTable();
    }
    /// The display name; the kind of failure without one.
    std::string name(int pid, const std::string& path = "") {
        const auto name = table().displayName(pid, path);
        return name ? *name : std::string(failureKindName(name.failure().kind));
    }
    int responsible(int pid) { return table().responsible(pid).valueOr(-1); }
    std::string type(int pid) { return table().applicationType(pid).valueOr("none"); }
    void nextPass() {
        std::vector<std::int32_t> pids;
        ASSERT_TRUE(table().pids(pids));
    }

    SavedTree tree;
    std::unique_ptr<LinuxMachine> machine;
};

TEST_F(SavedIdentity, APlainApplicationIsForegroundAndResponsibleForItsHelpers) {
    const std::string unit = User + "app-gnome-org.example.Maps-4242.scope";
    process(4242, "maps", 60, 60, unit);
    process(4300, "helper", 4242, 4242, unit);
    process(4301, "python3", 4300, 4301, unit);
    application("org.example.Maps", "Maps", "Exec=/usr/bin/maps %U");
    link("/usr/bin/maps", "/usr/lib/maps/maps-bin");

    EXPECT_EQ(name(4242, "/usr/bin/python3.11"), "Maps") << "the unit names an application for the interpreter";
    EXPECT_EQ(name(4300, "/usr/lib/maps/helper"), "absent");
    EXPECT_EQ(name(4301, "/usr/bin/python3.11"), "absent");
    EXPECT_EQ(name(4300, "/usr/lib/maps/maps-bin"), "Maps") << "where the link of Exec leads";
    EXPECT_EQ(name(4300, "/usr/lib/maps/maps-bin (deleted)"), "Maps") << "replaced while it runs";
    for (const int pid : {4242, 4300, 4301}) EXPECT_EQ(responsible(pid), 4242);
    EXPECT_EQ(type(4242), "Foreground");
    EXPECT_EQ(type(4300), "BackgroundOnly");
}

TEST_F(SavedIdentity, AUnitWhoseProcessEndedIsLedByTheLowestThatLives) {
    const std::string unit = User + "app-gnome-maps-4242.scope";
    process(4250, "maps", 1, 4250, unit);
    process(4260, "maps", 1, 4260, unit);
    process(4270, "maps", 4260, 4260, unit);
    EXPECT_EQ(responsible(4270), 4260) << "the furthest ancestor, without a list of the unit";
    tree.write("/sys/fs/cgroup" + unit + "/cgroup.procs", "4260\n0\n4250\n4270\n42");
    nextPass();
    for (const int pid : {4250, 4260, 4270}) EXPECT_EQ(responsible(pid), 4250);
    EXPECT_EQ(type(4250), "Foreground");
    EXPECT_EQ(type(4270), "BackgroundOnly");

    process(4242, "sleep", 1, 4242, User + "other.service");
    nextPass();
    EXPECT_EQ(responsible(4260), 4250) << "the number belongs to another program by now";
}

TEST_F(SavedIdentity, AFlatpakApplication) {
    const std::string unit = User + "app-flatpak-org.example.Maps-700.scope";
    process(700, "bwrap", 60, 60, unit);
    process(701, "xdg-dbus-proxy", 700, 60, unit);
    process(702, "bwrap", 700, 60, unit);
    process(703, "python3", 702, 60, unit);
    process(704, "gcc", 703, 60, unit);
    application("org.example.Maps", "Maps", "Exec=/usr/bin/flatpak run org.example.Maps\nX-Flatpak=org.example.Maps",
                "/var/lib/flatpak/exports/share");
    EXPECT_EQ(name(703, "/usr/bin/python3.11"), "Maps");
    EXPECT_EQ(name(703, "/app/bin/maps"), "Maps");
    EXPECT_EQ(name(704, "/app/bin/maps-helper"), "Maps");
    EXPECT_EQ(name(704, "/usr/bin/gcc"), "absent");
    EXPECT_EQ(name(701, "/usr/bin/xdg-dbus-proxy"), "absent");
    for (const int pid : {700, 701, 702, 703, 704}) EXPECT_EQ(responsible(pid), 700);
    EXPECT_EQ(type(703), "Foreground");
    EXPECT_EQ(type(701), "BackgroundOnly");
    EXPECT_EQ(type(704), "BackgroundOnly");
}

TEST_F(SavedIdentity, AFlatpakApplicationWithoutSystemd) {
    process(700, "bwrap", 50, 50, "/");
    process(702, "bwrap", 700, 50, "/");
    process(703, "viewer", 702, 50, "/");
    tree.write("/proc/703/root/.flatpak-info", "[Application]\nname=org.example.Viewer\n[Instance]\nname=x\n");
    EXPECT_EQ(name(703, "/app/bin/viewer"), "org.example.Viewer") << "its entry is not installed here";
    EXPECT_EQ(responsible(703), 700);
    tree.write("/proc/703/root/.flatpak-info", "[Application]\nname=../\x1b[2J\n");
    EXPECT_EQ(name(703, "/app/bin/viewer"), "malformed");

    process(710, "bwrap", 60, 50, "/");
    process(60, "files", 50, 50, "/");
    process(711, "thumbnailer", 710, 50, "/");
    EXPECT_EQ(responsible(711), 60) << "a sandbox of a program's own";
}

TEST_F(SavedIdentity, ASnap) {
    const std::string unit = User + "snap.maps.editor-0a1b2c3d-0000-4000-8000-0123456789ab.scope";
    process(800, "editor", 60, 60, unit);
    process(801, "bash", 800, 60, unit);
    tree.write("/sys/fs/cgroup" + unit + "/cgroup.procs", "800\n801\n");
    application("maps_editor", "Map Editor", "Exec=env HINT=x /snap/bin/maps.editor\nX-SnapInstanceName=maps",
                "/var/lib/snapd/desktop");
    application("maps_maps", "Maps", "Exec=/snap/bin/maps\nX-SnapInstanceName=maps", "/var/lib/snapd/desktop");
    EXPECT_EQ(name(800, "/snap/maps/12/bin/python3"), "Map Editor");
    EXPECT_EQ(name(801, "/snap/maps/12/bin/bash"), "absent");
    EXPECT_EQ(responsible(801), 800);
    EXPECT_EQ(type(800), "Foreground");
    process(810, "maps", 50, 50, "/system.slice/snap.maps.daemon.service");
    EXPECT_EQ(name(810, "/snap/maps/12/bin/editor"), "Map Editor");
    EXPECT_EQ(name(810, "/snap/maps/12/bin/other"), "Maps") << "the application called like the snap";
    EXPECT_EQ(name(810, "/snap/core22/1/bin/other"), "absent");
    EXPECT_EQ(type(810), "BackgroundOnly");
}

TEST_F(SavedIdentity, AnAppImage) {
    process(900, "AppRun", 50, 50, "/user.slice/user-1000.slice/session-3.scope");
    const std::string path = "/tmp/.mount_PaintX1/usr/bin/paint";
    EXPECT_EQ(name(900, path), "absent") << "no environment, and no entry inside";
    tree.write("/proc/900/environ", std::string("A=1\0APPIMAGE=/home/ann/Paint-5.2.AppImage\0B=2\0", 46));
    EXPECT_EQ(name(900, path), "Paint-5.2");
    tree.write("/tmp/.mount_PaintX2/paint.desktop", "[Desktop Entry]\nType=Application\nName=Paint\nExec=AppRun\n");
    EXPECT_EQ(name(900, "/tmp/.mount_PaintX2/usr/bin/paint"), "Paint");
    application("paint", "My Paint", "Exec=/home/ann/Paint-5.2.AppImage %F", "/home/ann/.local/share");
    nextPass();
    EXPECT_EQ(name(900, path), "My Paint") << "it was integrated meanwhile";
    EXPECT_EQ(responsible(900), 50);
}

TEST_F(SavedIdentity, AUserUnit) {
    const std::string slice = User + "app-org.example.Term.slice/";
    process(1000, "term-server", 40, 1000, slice + "term-server.service");
    process(1001, "bash", 1000, 1001, slice + "vte-spawn-7.scope");
    process(1002, "make", 1001, 1001, slice + "vte-spawn-7.scope");
    process(1010, "python3", 40, 1010, User + "app-org.example.Sync@autostart.service");
    process(1020, "agent", 40, 1020, User + "app-org.example.Agent@autostart.service");
    process(1030, "player", 40, 1030, User + "nothing.service");
    application("org.example.Term", "Terminal", "Exec=term");
    application("org.example.Sync", "Sync", "Exec=python3 /usr/bin/sync-gui");
    application("org.example.Agent", "Agent", "Exec=agent\nNoDisplay=true");
    EXPECT_EQ(name(1000, "/usr/libexec/term-server"), "Terminal");
    EXPECT_EQ(name(1001, "/usr/bin/bash"), "absent");
    EXPECT_EQ(name(1010, "/usr/bin/python3.11"), "Sync");
    EXPECT_EQ(type(1010), "Foreground") << "menus show it";
    EXPECT_EQ(type(1020), "BackgroundOnly") << "menus do not";
    EXPECT_EQ(name(1030, "/usr/bin/player"), "absent");
    EXPECT_EQ(responsible(1002), 1001);
    EXPECT_EQ(responsible(1030), 1030);
}

TEST_F(SavedIdentity, WhatSudoRunsIsThePersonsOwn) {
    const std::string unit = "/user.slice/user-1000.slice/session-3.scope";
    process(60, "sudo", 50, 50, unit);
    process(61, "sudo", 60, 61, unit);
    process(62, "make", 61, 61, unit);
    process(63, "cc", 62, 61, unit);
    EXPECT_EQ(responsible(62), 50);
    EXPECT_EQ(responsible(63), 50);
    EXPECT_EQ(responsible(60), 50);
    process(70, "daemon", 1, 61, unit);
    EXPECT_EQ(responsible(70), 60) << "it left its parent, but not the session of sudo";
    process(80, "lost", 1, 79, unit);
    EXPECT_EQ(responsible(80), 80) << "the leader of the session ended";
    process(90, "a", 91, 90, unit);
    process(91, "b", 90, 90, unit);
    EXPECT_EQ(responsible(91), 90) << "parents in a circle";
}

TEST_F(SavedIdentity, AProcessOfAContainerHasNoNameOfThisMachine) {
    application("maps", "Maps", "Exec=/usr/bin/maps");
    process(1100, "maps", 1, 1100, "/system.slice/docker-" + std::string(64, 'c') + ".scope");
    EXPECT_EQ(name(1100, "/usr/bin/maps"), "absent");
    EXPECT_EQ(responsible(1100), 1100);
    EXPECT_EQ(type(1100), "BackgroundOnly");
}

TEST_F(SavedIdentity, VanishedAndGarbledProcesses) {
    application("maps", "Maps", "Exec=/usr/bin/maps");
    EXPECT_EQ(name(5000, "/usr/bin/maps"), "gone");
    EXPECT_EQ(table().responsible(5000).failure().kind, FailureKind::Gone);
    EXPECT_EQ(table().applicationType(5000).failure().kind, FailureKind::Gone);
    EXPECT_EQ(table().arguments(5000).failure().kind, FailureKind::Gone);
    EXPECT_EQ(table().arguments(50).failure().kind, FailureKind::Absent) << "alive, and without a program";

    tree.write("/proc/5001/stat", "garbage").write("/proc/5001/cgroup", std::string("\0\xff\n\n::::", 8));
    EXPECT_EQ(table().responsible(5001).failure().kind, FailureKind::Malformed);
    EXPECT_EQ(table().applicationType(5001).failure().kind, FailureKind::Malformed);
    EXPECT_EQ(name(5001, "/usr/bin/maps"), "Maps") << "the path tells it all the same";
    EXPECT_EQ(name(5001, "/usr/bin/none"), "malformed");

    link("/proc/50/exe", "/usr/bin/maps (deleted)");
    tree.write("/proc/50/cmdline", std::string("maps\0", 5));
    EXPECT_THAT(*table().arguments(50), testing::ElementsAre("/usr/bin/maps", "maps"));
}

/// Reads as a user who owns nothing here; the tests may run as root, whom no permission stops.
class AsNobody {
public:
    AsNobody() : user_(::geteuid()) {
        if (user_ == 0 && ::seteuid(65534) != 0) throw std::runtime_error("cannot become nobody");
    }
    ~AsNobody() {
        if (user_ == 0 && ::seteuid(0) != 0) std::abort();
    }
    AsNobody(const AsNobody&) = delete;
    AsNobody& operator=(const AsNobody&) = delete;

private:
    uid_t user_;
};

TEST_F(SavedIdentity, AProcessThatMayNotBeReadStaysListed) {
    namespace fs = std::filesystem;
    process(1200, "secret", 50, 50, "/");
    application("maps", "Maps", "Exec=/usr/bin/maps");
    application("locked", "Locked", "Exec=/usr/bin/locked");
    fs::permissions(tree.root(), fs::perms(0755));
    for (const char* file : {"/proc/1200/stat", "/proc/1200/cgroup", "/usr/share/applications/locked.desktop"})
        fs::permissions(tree.path(file), fs::perms::none);
    table();
    const AsNobody nobody;
    std::vector<std::int32_t> pids;
    ASSERT_TRUE(table().pids(pids));
    EXPECT_THAT(pids, testing::Contains(1200));
    EXPECT_EQ(table().responsible(1200).failure().kind, FailureKind::Denied);
    EXPECT_EQ(table().applicationType(1200).failure().kind, FailureKind::Denied);
    EXPECT_EQ(name(1200), "denied");
    EXPECT_EQ(name(1200, "/usr/bin/maps"), "Maps");
    std::string note;
    for (const SourceReport& report : machine->diagnostics().reports())
        if (report.source == "applications/*.desktop") note = report.note;
    EXPECT_THAT(note, HasSubstr("1 desktop entries are passed over"));
    EXPECT_THAT(note, HasSubstr("locked.desktop: Permission denied"));
}

TEST_F(SavedIdentity, TheCatalogueNoticesWhatIsAddedTakenAwayAndHidden) {
    EXPECT_EQ(name(50, "/usr/bin/maps"), "absent");
    application("maps", "Maps", "Exec=maps");
    EXPECT_EQ(name(50, "/usr/bin/maps"), "absent") << "one look for a pass";
    nextPass();
    EXPECT_EQ(name(50, "/usr/bin/maps"), "Maps");
    application("deep-maps", "Deep Maps", "Exec=/opt/deep/run", "/usr/local/share");
    tree.write("/usr/local/share/applications/sub/x.desktop",
               "[Desktop Entry]\nType=Application\nName=X\nExec=/opt/x/x\n");
    nextPass();
    EXPECT_EQ(name(50, "/opt/deep/run"), "Deep Maps");
    EXPECT_EQ(name(50, "/opt/x/x"), "X");
    tree.write("/home/ann/.local/share/applications/sub-x.desktop", "[Desktop Entry]\nHidden=true\n");
    tree.write("/usr/share/applications/bad.desktop", "\x7F garbage");
    nextPass();
    EXPECT_EQ(name(50, "/opt/x/x"), "absent") << "its owner deleted it";
    tree.remove("/usr/share/applications");
    nextPass();
    EXPECT_EQ(name(50, "/usr/bin/maps"), "absent");
    EXPECT_EQ(name(50, "/opt/deep/run"), "Deep Maps");
}

TEST_F(SavedIdentity, OfSeveralEntriesTheBestClaimHolds) {
    application("office", "Office", "Exec=/usr/bin/office %U");
    application("office-write", "Writer", "Exec=/usr/bin/office --write %U");
    application("office-url", "Opener", "Exec=/usr/bin/office %u\nNoDisplay=true");
    application("one", "One", "Exec=/usr/bin/twin a");
    application("two", "Two", "Exec=/usr/bin/twin b");
    application("python3.11", "Python", "Exec=/usr/bin/python3.11");
    application("script", "Script", "Exec=sh -c 'x'");
    application("absent", "Not installed", "TryExec=/opt/none\nExec=/opt/none");
    EXPECT_EQ(name(50, "/usr/bin/office"), "Office");
    EXPECT_EQ(name(50, "/usr/lib64/office"), "Office") << "by its base name";
    EXPECT_EQ(name(50, "/usr/bin/twin"), "absent") << "two with an equal claim";
    for (const char* path : {"/usr/bin/python3.11", "/usr/bin/sh", "/usr/bin/dash", "/opt/none", "", "/", "relative"})
        EXPECT_EQ(name(50, path), "absent") << path;
}

TEST_F(SavedIdentity, TenThousandEntriesCostNothingPerProcess) {
    for (int i = 0; i < 10'000; ++i) {
        const std::string number = std::to_string(i);
        application("app" + number, "App " + number, "Exec=/opt/app" + number + "/run" + number);
    }
    for (int pid = 2000; pid < 2200; ++pid) process(pid, "p", 50, 50, "/user.slice/user-1000.slice/session-3.scope");
    nextPass();
    EXPECT_EQ(name(50, "/opt/app9999/run9999"), "App 9999");
    std::filesystem::last_write_time(tree.path("/usr/share/applications"),
                                     std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    nextPass();
    EXPECT_EQ(name(50, "/opt/app1/run1"), "App 1");
    nextPass();
    const std::uint64_t before = systemCallsOfThisThread();
    for (int pid = 2000; pid < 2200; ++pid) {
        EXPECT_EQ(name(pid, "/opt/app77/run77"), "App 77");
        EXPECT_EQ(type(pid), "BackgroundOnly");
        EXPECT_EQ(responsible(pid), 50);
    }
    EXPECT_LE((systemCallsOfThisThread() - before) / 200.0, 9.0) << "stat and cgroup once for each process";
}

TEST(ApplicationPlaces, FollowTheEnvironmentOfWhoeverAsks) {
    const LinuxRoot live("/");
    const EnvironmentLookup environment = [](const char* name) -> const char* {
        const std::string_view variable(name);
        if (variable == "HOME") return "/home/ann";
        if (variable == "XDG_DATA_DIRS") return "/opt/share/:relative::/usr/share";
        if (variable == "LANG") return "de_DE.UTF-8";
        return variable == "LANGUAGE" ? "fr" : nullptr;
    };
    EXPECT_THAT(
        applicationDirectories(live, environment),
        testing::ElementsAre("/home/ann/.local/share", "/home/ann/.local/share/flatpak/exports/share", "/opt/share",
                             "/usr/share", "/var/lib/flatpak/exports/share", "/var/lib/snapd/desktop"));
    EXPECT_THAT(applicationLocales(live, environment), testing::ElementsAre("fr", "de_DE", "de"));
    SavedTree tree;
    tree.write("/etc/locale.conf", "LC_TIME=C\nLANG=\"pt_BR.UTF-8\"\n").write("/home/bob/x", "");
    const LinuxRoot saved(tree.root());
    EXPECT_THAT(applicationLocales(saved, environment), testing::ElementsAre("pt_BR", "pt"));
    EXPECT_EQ(applicationDirectories(saved, environment).front(), "/home/bob/.local/share");
}

}  // namespace
}  // namespace hvk
