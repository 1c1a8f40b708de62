#include "hvkstat/Session.h"

#include <algorithm>

#include "HVKPlatform/LiveMachine.h"
#include "HVKPlatform/recorded/RecordedMachine.h"
#include "hvkstat/SensorRecipe.h"

namespace hvk::hvkstat {

namespace {

/// What was used between two readings; the failure of either when there is one.
template <class T>
Result<T> difference(const Result<T>& before, const Result<T>& after) {
    if (!before) return before.failure();
    if (!after) return after.failure();
    return T(*after - *before);
}

}  // namespace

Result<std::unique_ptr<Session>> Session::open(const Options& options) {
    std::vector<std::string> modules = options.modules;
    if (options.command == CommandName::History) modules = {std::string(findHistory(options.history).module->name)};
    if (options.command == CommandName::Processes) modules = {"processes"};
    if (options.command == CommandName::Graphics) modules = {"gpu"};
    if (options.command == CommandName::Traffic) modules = {"packets"};
    if (options.command == CommandName::Sensors) modules = {"sensors"};
    // Those that tell of changes in their own updates.
    if (options.command == CommandName::Events) modules = {"network", "battery", "bluetooth"};
    if (options.command == CommandName::Recipe) modules = {"uptime"};

    if (!options.machine.empty()) {
        auto recorded = RecordedMachine::fromFile(options.machine);
        if (!recorded) return recorded.failure();
        RecordedMachine* machine = recorded->get();
        return std::make_unique<Session>(std::move(*recorded), modules, machine);
    }
    if (!options.root.empty()) {
        auto saved = makeSavedMachine(options.root);
        if (!saved) return saved.failure();
        return std::make_unique<Session>(std::move(*saved), modules);
    }
    return std::make_unique<Session>(makeLiveMachine(), modules);
}

Session::Session(std::unique_ptr<Machine> machine, const std::vector<std::string>& modules, RecordedMachine* recorded)
    : machine_(std::move(machine)), recorded_(recorded) {
    for (const ModuleEntry& entry : moduleEntries())
        if (modules.empty() || std::find(modules.begin(), modules.end(), entry.name) != modules.end())
            modules_.push_back(&entry);
    framework_ = std::make_unique<HVKStatisticsFramework>(*machine_);
    const double time = machine_->clock().wallSeconds();
    for (const ModuleEntry* module : modules_)
        if (module->begin != nullptr) module->begin(*framework_, *machine_, time);
    model_ = machine_->system().modelName().valueOr("");
    system_ = machine_->system().operatingSystemName().valueOr("");
}

void Session::wait(double seconds) { machine_->queues().runMain(seconds); }

double Session::sample() {
    const double time = machine_->clock().wallSeconds();
    lastPass_.clear();
    if (std::any_of(modules_.begin(), modules_.end(), [](const auto* module) { return module->name == "sensors"; }))
        addNewSensors(*framework_, *machine_, sensorRevision_);
    for (const ModuleEntry* module : modules_) lastPass_.push_back(update(*module, time));
    return time;
}

PassCost Session::update(const ModuleEntry& module, double time) {
    CostPort& cost = machine_->cost();
    const auto callsBefore = cost.systemCalls();
    const auto secondsBefore = cost.threadProcessorSeconds();
    module.update(*framework_, time);
    const auto secondsAfter = cost.threadProcessorSeconds();
    const auto callsAfter = cost.systemCalls();
    return {&module, difference(secondsBefore, secondsAfter), difference(callsBefore, callsAfter)};
}

ReportView Session::view(double time) {
    ReportView view;
    view.time = time;
    view.model = model_;
    view.system = system_;
    for (const ModuleEntry* module : modules_) module->fill(*framework_, time, view);
    return view;
}

Value Session::stats(double time) {
    Value sample = {{"time", time}};
    for (const ModuleEntry* module : modules_) sample[std::string(module->name)] = module->stats(*framework_, time);
    return sample;
}

}  // namespace hvk::hvkstat
