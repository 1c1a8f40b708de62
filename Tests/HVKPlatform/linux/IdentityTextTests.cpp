// The texts that tell which application a process belongs to: desktop entries and control groups.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HVKPlatform/linux/parse/ControlGroup.h"
#include "HVKPlatform/linux/parse/DesktopEntry.h"

namespace hvk {
namespace {

using parse::UnitKind;
using testing::ElementsAre;
using testing::IsEmpty;

parse::DesktopEntry entryOf(const std::string& text, const std::string& locale = "") {
    const auto entry = parse::parseDesktopEntry(text, parse::desktopLocales(locale));
    EXPECT_TRUE(entry) << text;
    return entry ? *entry : parse::DesktopEntry{};
}

TEST(DesktopEntryText, GivesTheNameInTheClosestLanguage) {
    const std::string text =
        "[Desktop "
        "Entry]\nType=Application\nName[de]=Karten\nName[sr@latin]=Mape\nName=Maps\nName[pt_BR]=Mapas\nName=No\n"
        "Exec=maps\n";
    const std::pair<const char*, const char*> cases[] = {
        {"", "Maps"},
        {"C", "Maps"},
        {"de_AT.UTF-8", "Karten"},
        {"sr_RS.UTF-8@latin", "Mape"},
        {"sr_RS", "Maps"},
        {"pt_BR.UTF-8", "Mapas"},
        {"pt_PT", "Maps"},
        {"fr:de:pt_BR", "Karten"},
        {"POSIX:xx_", "Maps"},
    };
    for (const auto& [locale, name] : cases) EXPECT_EQ(entryOf(text, locale).name, name) << locale;
    EXPECT_THAT(parse::desktopLocales("sr_RS.UTF-8@latin"), ElementsAre("sr_RS@latin", "sr_RS", "sr@latin", "sr"));
}

TEST(DesktopEntryText, ReadsItsOwnGroupAlone) {
    const auto entry = entryOf(
        "\xEF\xBB\xBF# a comment\r\n[Desktop Action new]\nName=New\nExec=other\n[Desktop Entry]\r\nType = "
        "Application\r\n"
        "Name=Maps\r\nno assignment\n=\n[\nTryExec=/usr/bin/maps\n");
    EXPECT_EQ(entry.name, "Maps");
    EXPECT_TRUE(entry.isApplication());
    EXPECT_THAT(entry.command, IsEmpty());

    const auto whole = entryOf(
        "[Desktop "
        "Entry]\nNoDisplay=true\nNoDisplay=false\nType=Application\nName=My\\sMaps\nX-Flatpak=org.example.Maps\n"
        "X-SnapInstanceName=maps\nStartupWMClass=Maps\nTryExec=/opt/my\\smaps\nExec=\"/opt/my maps\" --open=%% %U\n"
        "[Desktop Action x]\nExec=evil\n");
    EXPECT_TRUE(whole.noDisplay);
    EXPECT_EQ(whole.name, "My Maps");
    EXPECT_EQ(whole.flatpak, "org.example.Maps");
    EXPECT_EQ(whole.snap, "maps");
    EXPECT_EQ(whole.windowClass, "Maps");
    EXPECT_EQ(whole.tryExec, "/opt/my maps");
    EXPECT_THAT(whole.command, ElementsAre("/opt/my maps", "--open=%"));
}

TEST(DesktopEntryText, NeverHandsOnWhatATerminalWouldObey) {
    const auto nameOf = [](const std::string& name) {
        return entryOf("[Desktop Entry]\nType=Application\nName=" + name + "\n").name;
    };
    EXPECT_EQ(nameOf("a\x1b[2Jb"), "a [2Jb");
    EXPECT_EQ(nameOf("a\\nb\\tc"), "a b c");
    EXPECT_EQ(nameOf("a\xC2\x9B"
                     "2J"),
              "a 2J");
    EXPECT_EQ(nameOf("Stra\xC3\x9F"
                     "e\xFF\xFEx"),
              "Stra\xC3\x9F"
              "e");
    EXPECT_EQ(nameOf("x\xE0\x80\x80"), "x") << "an overlong form";
    EXPECT_EQ(nameOf("x\xED\xA0\x80"), "x") << "half of a surrogate pair";
    EXPECT_LE(nameOf(std::string(100'000, 'x')).size(), 1024U);
    EXPECT_EQ(nameOf("x\\"), "x\\");
}

TEST(DesktopEntryText, RefusesWhatIsNoApplication) {
    for (const std::string text :
         {"", "[Desktop Entry", "Name=x\nType=Application\n", "[Desktop Entry]\nName=x\n",
          "[Desktop Entry]\nType=Application\n", "[Desktop Entry]\nType=Application\nName=\xFF\n",
          "\x7F"
          "ELF\1\1\1"})
        EXPECT_FALSE(parse::parseDesktopEntry(text, {})) << text;
    EXPECT_TRUE(entryOf("[Desktop Entry]\nHidden=true\n").hidden) << "a deleted entry needs nothing else";
}

TEST(DesktopEntryText, TakesACommandApart) {
    EXPECT_THAT(*parse::parseExec("env A=1 maps %u -x %i"), ElementsAre("env", "A=1", "maps", "-x"));
    EXPECT_THAT(*parse::parseExec(R"("a \"b\" \\ \$c" "" d\ e 100%%)"),
                ElementsAre(R"(a "b" \ $c)", "", "d e", "100%"));
    for (const char* exec : {"", "   ", "%U", "\"open", "maps %", "maps %z", "\"\" x"})
        EXPECT_FALSE(parse::parseExec(exec)) << exec;
    std::string many;
    for (int i = 0; i < 1000; ++i) many += "x ";
    EXPECT_FALSE(parse::parseExec(many));
}

TEST(ControlGroupText, TellsUnitsApart) {
    const std::string user = "/user.slice/user-1000.slice/user@1000.service";
    struct Case {
        std::string path;
        UnitKind kind;
        std::string application;
        std::int32_t leader;
    };
    const Case cases[] = {
        {user + "/app.slice/app-gnome-org.example.Maps-4242.scope", UnitKind::ApplicationScope, "org.example.Maps",
         4242},
        {user + "/app.slice/app-org.example.Maps-4242.scope", UnitKind::ApplicationScope, "org.example.Maps", 4242},
        {user + "/app.slice/app-gnome-my\\x2dmaps-4242.scope/sub/tree", UnitKind::ApplicationScope, "my-maps", 4242},
        {user + "/app.slice/app-gnome-maps-c0ffee.scope", UnitKind::ApplicationScope, "maps", 0},
        {user + "/app.slice/app-gnome-maps-99999999999.scope", UnitKind::ApplicationScope, "maps", 0},
        {user + "/app.slice/app-my\\x2dmaps@autostart.service", UnitKind::ApplicationService, "my-maps", 0},
        {user + "/app.slice/dbus-:1.2-org.example.Maps@0.service", UnitKind::ApplicationService, "org.example.Maps", 0},
        {user + "/app.slice/app-flatpak-org.example.Maps-77.scope", UnitKind::Flatpak, "org.example.Maps", 77},
        {user + "/app.slice/snap.maps.open-0a1b2c3d-0000-4000-8000-0123456789ab.scope", UnitKind::Snap, "maps_open", 0},
        {user + "/snap.maps.maps.0a1b2c3d-0000-4000-8000-0123456789ab.scope", UnitKind::Snap, "maps_maps", 0},
        {"/system.slice/snap.maps.daemon.service", UnitKind::SystemService, "", 0},
        {user + "/app.slice/app-org.example.Term.slice/term-server.service", UnitKind::UserService, "org.example.Term",
         0},
        {user + "/app.slice/app-org.example.Term.slice/vte-spawn-1.scope", UnitKind::UserService, "", 0},
        {user + "/app.slice/maps.service", UnitKind::UserService, "maps", 0},
        {user + "/init.scope", UnitKind::UserManager, "", 0},
        {"/user.slice/user-1000.slice/session-3.scope", UnitKind::Session, "", 0},
        {"/system.slice/cron.service", UnitKind::SystemService, "", 0},
        {"/init.scope", UnitKind::SystemService, "", 0},
        {"/a/b", UnitKind::None, "", 0},
        {"/app-.scope/../x", UnitKind::SystemService, "", 0},
    };
    for (const Case& one : cases) {
        const auto group = parse::parseControlGroup("0::" + one.path + "\n");
        ASSERT_TRUE(group) << one.path;
        EXPECT_EQ(group->kind, one.kind) << one.path;
        EXPECT_EQ(group->application, one.application) << one.path;
        EXPECT_EQ(group->leader, one.leader) << one.path;
        if (one.path.starts_with(user)) {
            EXPECT_EQ(group->user, 1000U);
        }
    }
    const auto deep = parse::parseControlGroup("0::" + cases[2].path + " (deleted)\n");
    EXPECT_TRUE(deep->path.ends_with("4242.scope")) << "the path ends with the unit";
    EXPECT_EQ(deep->launcher, "gnome");
}

TEST(ControlGroupText, FindsContainers) {
    const std::string id(64, 'a');
    const std::pair<std::string, std::string> cases[] = {
        {"/system.slice/docker-" + id + ".scope", id},
        {"/docker/" + id + "/system.slice/nginx.service", id},
        {"/user.slice/user-1000.slice/user@1000.service/user.slice/libpod-" + id + ".scope/container", id},
        {"/kubepods/burstable/pod0a1b2c3d/" + id, id},
        {"/kubepods.slice/kubepods-pod1.slice/cri-containerd-" + id + ".scope", id},
        {"/lxc.payload.web/init.scope", "web"},
        {"/lxc/web", "web"},
        {"/machine.slice/machine-my\\x2dvm.scope", "my-vm"},
    };
    for (const auto& [path, container] : cases) {
        const auto group = parse::parseControlGroup("0::" + path + "\n");
        ASSERT_TRUE(group);
        EXPECT_EQ(group->kind, UnitKind::Container) << path;
        EXPECT_EQ(group->container, container) << path;
    }
    for (const std::string path : {"/system.slice/docker.service", "/docker/notes.service"})
        EXPECT_EQ(parse::parseControlGroup("0::" + path + "\n")->kind, UnitKind::SystemService) << path;
}

TEST(ControlGroupText, PicksTheHierarchyThatTells) {
    const auto kindOf = [](const std::string& text) { return parse::parseControlGroup(text)->kind; };
    const std::string session = "1:name=systemd:/user.slice/user-5.slice/session-9.scope\n";
    EXPECT_EQ(kindOf("12:pids:/system.slice/x.service\n" + session + "0::/\n"), UnitKind::Session);
    EXPECT_EQ(kindOf(session + "0::/system.slice/x.service\n"), UnitKind::SystemService);
    EXPECT_EQ(kindOf("4:memory:/docker/" + std::string(64, '0') + "\n0::/\n"), UnitKind::Container);
    EXPECT_EQ(kindOf("0::/\n"), UnitKind::None);
    for (const std::string text : {"", "garbage", "0:", "::/x", "x::/y", "0::relative", "0::/a\1\n:"})
        (void)parse::parseControlGroup(text);
    EXPECT_EQ(parse::parseControlGroup("garbage\n").failure().kind, FailureKind::Malformed);
    EXPECT_EQ(parse::unescapedUnitName("a\\x2db\\x0ac\\xzz\\x2"), "a-b\\x0ac\\xzz\\x2");
}

}  // namespace
}  // namespace hvk
