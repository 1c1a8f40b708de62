#include "HVKPlatform/recorded/HardwareEvents.h"

#include <algorithm>
#include <regex>
#include <utility>

namespace hvk {

namespace {

template <class Choice>
Choice oneOf(const RecordingField& field, std::initializer_list<std::pair<const char*, Choice>> choices) {
    const std::string text = field.text();
    std::string known;
    for (const auto& [name, choice] : choices) {
        if (text == name) return choice;
        known += (known.empty() ? "\"" : ", \"") + std::string(name) + '"';
    }
    field.fault("should be one of " + known);
}

InterfaceAddress readAddress(const RecordingField& field) {
    using Family = InterfaceAddress::Family;
    field.allowOnly({"name", "family", "address", "destination", "up", "pointToPoint"});
    const auto flag = [&](const char* key) {
        const auto found = field.find(key);
        if (found && !found->value().is_boolean()) found->wrong("true or false");
        return found && found->value().get<bool>();
    };
    InterfaceAddress address;
    address.name = field.require("name").text();
    address.family = oneOf<Family>(
        field.require("family"),
        {{"link", Family::Link}, {"IPv4", Family::IPv4}, {"IPv6", Family::IPv6}, {"other", Family::Other}});
    if (const auto text = field.find("address")) address.address = text->text();
    if (const auto text = field.find("destination")) address.destination = text->text();
    address.up = flag("up");
    address.pointToPoint = flag("pointToPoint");
    return address;
}

RecordedEvent readEvent(const RecordingField& field) {
    field.allowOnly({"disk", "description", "configuration", "powerSources", "systemPower", "argument", "device"});
    if (const auto disk = field.find("disk")) {
        RecordedDiskEvent event;
        event.event = oneOf<DiskEvent>(*disk, {{"appeared", DiskEvent::Appeared},
                                               {"changed", DiskEvent::DescriptionChanged},
                                               {"disappeared", DiskEvent::Disappeared},
                                               {"mount", DiskEvent::MountApproval},
                                               {"unmount", DiskEvent::UnmountApproval}});
        if (const auto description = field.find("description")) {
            if (!description->value().is_object()) description->wrong("a dictionary");
            event.description = description->propertyValue();
        }
        return event;
    }
    if (const auto keys = field.find("configuration")) {
        RecordedConfigurationEvent event;
        for (std::size_t index = 0; index < keys->size(); ++index) event.keys.push_back(keys->at(index).text());
        return event;
    }
    if (field.find("powerSources")) return RecordedPowerSourceEvent{};
    if (const auto message = field.find("systemPower")) {
        RecordedSystemPowerEvent event;
        event.message = static_cast<std::uint32_t>(message->unsignedInteger(0xFFFFFFFF));
        if (const auto argument = field.find("argument")) event.argument = argument->integer();
        return event;
    }
    if (const auto device = field.find("device"))
        return oneOf<DeviceEvent>(*device, {{"matched", DeviceEvent::Matched},
                                            {"removed", DeviceEvent::Removed},
                                            {"connected", DeviceEvent::Connected}});
    field.fault("should name what happens: a disk, a configuration, powerSources, systemPower or a device");
}

}  // namespace

void readInterfaceAddresses(const RecordingField& field, HardwareEventAnswers& answers) {
    if (auto failure = field.failure("recording: interfaceAddresses")) {
        answers.interfaceAddresses = std::move(*failure);
        return;
    }
    std::vector<InterfaceAddress> addresses;
    for (std::size_t index = 0; index < field.size(); ++index) addresses.push_back(readAddress(field.at(index)));
    answers.interfaceAddresses = std::move(addresses);
}

void readEvents(const RecordingField& field, HardwareEventAnswers& answers) {
    for (std::size_t index = 0; index < field.size(); ++index) answers.events.push_back(readEvent(field.at(index)));
}

RecordedHardwareEvents::RecordedHardwareEvents(TreeRegistry& tree, Queue& main, Diagnostics& diagnostics)
    : tree_(tree),
      main_(main),
      addresses_(diagnostics.source("recording: interfaceAddresses", "interface addresses")) {}

void RecordedHardwareEvents::setAnswers(HardwareEventAnswers answers) {
    const std::vector<RecordedEvent> events = std::exchange(answers.events, {});
    RecordedPort::setAnswers(std::move(answers));
    for (const RecordedEvent& event : events) happen(event);
}

void RecordedHardwareEvents::happen(const RecordedEvent& event) {
    const auto each = [this](const auto& blocks, auto... arguments) {
        for (const auto& block : blocks) main_.async([block, arguments...] { block(arguments...); });
    };
    if (const auto* disk = std::get_if<RecordedDiskEvent>(&event))
        each(disks_, disk->event, disk->description);
    else if (const auto* configuration = std::get_if<RecordedConfigurationEvent>(&event))
        each(configuration_, configuration->keys);
    else if (std::holds_alternative<RecordedPowerSourceEvent>(event))
        each(powerSources_);
    else if (const auto* power = std::get_if<RecordedSystemPowerEvent>(&event))
        each(systemPower_, power->message, power->argument);
    else
        each(devices_, std::get<DeviceEvent>(event));
}

Result<RegistryHandle> RecordedHardwareEvents::watchServices(ServiceEvent event, const RegistryMatch& match,
                                                             std::function<void(RegistryHandle)> block) {
    auto watch = std::make_shared<ServiceWatch>(ServiceWatch{event, match, std::move(block), 0, {}, {}});
    watch->present = tree_.matchingNodes(match);
    watch->iterator = tree_.makeIterator(watch->present);
    services_.push_back(watch);
    return watch->iterator;
}

void RecordedHardwareEvents::lookAtServices() {
    for (const auto& watch : services_) {
        std::vector<TreeRegistry::Node> now = tree_.matchingNodes(watch->match);
        const auto& from = watch->event == ServiceEvent::Terminate ? watch->present : now;
        const auto& without = watch->event == ServiceEvent::Terminate ? now : watch->present;
        for (const TreeRegistry::Node node : from)
            if (std::find(without.begin(), without.end(), node) == without.end()) watch->pending.push_back(node);
        watch->present = std::move(now);
        const auto exhausted = tree_.isExhausted(watch->iterator);
        if (!exhausted) watch->pending.clear();  // its owner gave it back: it is never armed again
        if (watch->pending.empty() || !*exhausted) continue;
        tree_.refill(watch->iterator, std::exchange(watch->pending, {}));
        main_.async([watch] { watch->block(watch->iterator); });
    }
}

Status RecordedHardwareEvents::watchDisks(std::function<void(DiskEvent, const Value&)> block) {
    disks_.push_back(std::move(block));
    return {};
}

Status RecordedHardwareEvents::watchConfiguration(const std::string&, const std::vector<std::string>& keys,
                                                  const std::vector<std::string>& patterns,
                                                  std::function<void(const std::vector<std::string>&)> block) {
    std::vector<std::regex> expressions;
    try {
        for (const std::string& pattern : patterns) expressions.emplace_back(pattern);
    } catch (const std::regex_error& fault) {
        return Failure{FailureKind::Malformed, "configuration pattern", fault.what()};
    }
    configuration_.push_back([keys, expressions = std::move(expressions),
                              block = std::move(block)](const std::vector<std::string>& changed) {
        std::vector<std::string> watched;
        for (const std::string& key : changed) {
            if (std::find(keys.begin(), keys.end(), key) != keys.end() ||
                std::any_of(expressions.begin(), expressions.end(),
                            [&](const std::regex& one) { return std::regex_match(key, one); }))
                watched.push_back(key);
        }
        if (!watched.empty()) block(watched);
    });
    return {};
}

Status RecordedHardwareEvents::watchPowerSources(std::function<void()> block) {
    powerSources_.push_back(std::move(block));
    return {};
}

Status RecordedHardwareEvents::watchSystemPower(std::function<void(std::uint32_t, std::int64_t)> block) {
    systemPower_.push_back(std::move(block));
    return {};
}

Status RecordedHardwareEvents::watchBluetooth(const std::vector<std::string>&, std::function<void(DeviceEvent)> block) {
    devices_.push_back(std::move(block));
    return {};
}

Result<std::vector<InterfaceAddress>> RecordedHardwareEvents::interfaceAddresses() {
    return answer(addresses_, &HardwareEventAnswers::interfaceAddresses);
}

}  // namespace hvk
