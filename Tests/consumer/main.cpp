// A host: reads a saved machine given by its root, or the running one, twice, and prints what it found.
#include <HVKStatisticsKit/HVKStatisticsKit.h>

#include <iostream>

namespace {

/// A module of the host's own in place of one of the framework's: the virtual tables cross the library's border.
class CountingDisks : public hvk::StatisticsDisksRole {
public:
    void setDemo(bool) override {}
    void setChanged(bool) override { ++changes; }
    void setChangedNetwork(bool) override {}
    void setChangedRemovable(bool) override {}

    int changes = 0;
};

}  // namespace

int main() {
    const auto machine = hvk::makeLiveMachine();
    hvk::HVKStatisticsFramework framework(*machine);
    const double now = machine->clock().wallSeconds();
    framework.Load()->update(now - 1);
    framework.Load()->update(now);
    framework.Memory()->update(now);

    auto disks = std::make_shared<CountingDisks>();
    framework.setDisks(disks);
    framework.disksChanged();

    // The string tables are found beside the library, wherever that was moved.
    hvk::setPreferredLanguages({"de"});
    const std::string fan = hvk::SensorCatalogue(*machine).localizedNameForSensor("Fan 2");

    const auto missing = hvk::makeSavedMachine("/nowhere at all");
    const hvk::Value report = {{"load", framework.Load()->stats()},
                               {"memory", framework.Memory()->stats()},
                               {"boot", framework.Uptime()->boot},
                               {"changes", disks->changes},
                               {"fan", fan},
                               {"hash", hvk::statisticsHash("")}};
    std::cout << report.dump(2) << '\n';
    const bool works = framework.Load()->history()[1].time == now - 1 && framework.Memory()->memory().total > 0 &&
                       framework.Uptime()->boot > 0 && disks->changes == 1 && fan == "Lüfter 2" && !missing &&
                       missing.failure().kind == hvk::FailureKind::Absent;
    return works ? 0 : 1;
}
