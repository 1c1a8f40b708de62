#include "HVKPlatform/recorded/UserClient.h"

#include <algorithm>
#include <set>
#include <utility>

namespace hvk {

namespace {

constexpr const char* Source = "recording: controller.services";

/// Some keys are larger than a call can carry: they are described and never read.
constexpr std::uint64_t LargestSize = 255;

Failure gone(std::string detail) { return {FailureKind::Gone, Source, std::move(detail)}; }

// Taking a section in

std::uint32_t readCode(const RecordingField& field) {
    const auto code = controllerCode(field.text());
    if (!code) field.fault("should be text of 4 bytes");
    return *code;
}

std::vector<std::uint8_t> readBytes(const RecordingField& field) {
    auto bytes = field.hexadecimal();
    if (bytes.size() > ControllerValueSize) field.fault("should be at most 32 bytes");
    return bytes;
}

/// Puts what `field` names over a key.
void readKey(const RecordingField& field, RecordedControllerKey& key) {
    field.allowOnly({"key", "type", "bytes", "size", "attributes", "unreadable"});
    if (const auto type = field.find("type")) key.type = readCode(*type);
    if (const auto attributes = field.find("attributes"))
        key.attributes = static_cast<std::uint8_t>(attributes->unsignedInteger(0xFF));
    const auto bytes = field.find("bytes");
    if (bytes) {
        key.bytes = readBytes(*bytes);
        key.unreadable.reset();
    }
    if (const auto size = field.find("size")) {
        const auto count = static_cast<std::size_t>(size->unsignedInteger(LargestSize));
        if (bytes && count != key.bytes.size()) size->fault("is not that of the bytes");
        key.bytes.resize(count);
    }
    if (const auto unreadable = field.find("unreadable")) {
        key.unreadable = unreadable->failure("recording: controller");
        if (!key.unreadable) unreadable->wrong("a failure");
    }
    if (key.type == 0) field.fault("needs a \"type\"");
}

void number(RecordedController& controller) {
    controller.places.clear();
    for (std::size_t place = 0; place < controller.keys.size(); ++place)
        controller.places.emplace(controller.keys[place].code, place);
}

std::vector<RecordedControllerKey> readKeys(const RecordingField& field) {
    std::vector<RecordedControllerKey> keys;
    std::set<std::uint32_t> seen;
    for (std::size_t index = 0; index < field.size(); ++index) {
        const RecordingField entry = field.at(index);
        RecordedControllerKey& key = keys.emplace_back();
        key.code = readCode(entry.require("key"));
        if (!seen.insert(key.code).second) entry.fault("this key is listed twice");
        readKey(entry, key);
    }
    return keys;
}

void readChange(const std::string& name, const RecordingField& entry, std::vector<RecordedControllerKey>& keys) {
    const auto code = controllerCode(name);
    if (!code) entry.fault("should be named by a key of 4 bytes");
    auto key = std::find_if(keys.begin(), keys.end(), [&](const auto& each) { return each.code == *code; });
    if (entry.value().is_null()) {
        if (key != keys.end()) keys.erase(key);
        return;
    }
    if (key == keys.end()) {
        key = keys.emplace(keys.end());
        key->code = *code;
    }
    if (entry.find("key")) entry.require("key").fault("a change is named by its key");
    readKey(entry, *key);
}

void readService(const RecordingField& field, Result<RecordedController>& service) {
    if (auto failure = field.failure(Source)) {
        service = std::move(*failure);
        return;
    }
    field.allowOnly({"keys", "changes"});
    RecordedController controller = std::move(service).valueOr({});
    if (const auto keys = field.find("keys")) controller.keys = readKeys(*keys);
    if (const auto changes = field.find("changes"))
        changes->eachEntry(
            [&](const std::string& name, const RecordingField& entry) { readChange(name, entry, controller.keys); });
    number(controller);
    service = std::move(controller);
}

// Serving

/// The keys of a recorded service. What is written waits for whoever may change the service.
class ServedKeys : public ControllerKeys {
public:
    explicit ServedKeys(const RecordedController& controller) : controller_(controller) {}

    /// The place of the key that was written, and its new bytes.
    struct Write {
        std::size_t place = 0;
        std::vector<std::uint8_t> bytes;
    };
    const std::optional<Write>& written() const { return written_; }

    std::size_t count() override { return controller_.keys.size(); }

    std::optional<std::uint32_t> keyAt(std::size_t index) override {
        if (index >= controller_.keys.size()) return std::nullopt;
        return controller_.keys[index].code;
    }

    Result<ControllerKeyInfo> info(std::uint32_t code) override {
        const RecordedControllerKey* key = find(code);
        if (key == nullptr) return Failure{FailureKind::Absent, Source, "there is no such key"};
        return ControllerKeyInfo{static_cast<std::uint32_t>(key->bytes.size()), key->type, key->attributes};
    }

    Status read(std::uint32_t code, std::span<std::uint8_t> bytes) override {
        const RecordedControllerKey& key = *find(code);
        if (key.unreadable) return *key.unreadable;
        std::copy(key.bytes.begin(), key.bytes.end(), bytes.begin());
        return {};
    }

    Status write(std::uint32_t code, std::span<const std::uint8_t> bytes) override {
        const RecordedControllerKey& key = *find(code);
        if (key.unreadable) return *key.unreadable;
        written_ = {controller_.places.at(code), {bytes.begin(), bytes.end()}};
        return {};
    }

private:
    const RecordedControllerKey* find(std::uint32_t code) const {
        const auto found = controller_.places.find(code);
        return found == controller_.places.end() ? nullptr : &controller_.keys[found->second];
    }

    const RecordedController& controller_;
    std::optional<Write> written_;
};

}  // namespace

void readUserClient(const RecordingField& section, UserClientAnswers& answers) {
    if (auto failure = section.failure(Source)) {
        answers.services = std::move(*failure);
        return;
    }
    section.allowOnly({"services"});
    const auto field = section.find("services");
    if (!field) return;
    if (auto failure = field->failure(Source)) {
        answers.services = std::move(*failure);
        return;
    }
    auto services = std::make_shared<RecordedServices>();
    if (answers.services) *services = **answers.services;
    field->eachEntry([&](const std::string& name, const RecordingField& entry) {
        if (entry.value().is_null())
            services->erase(name);
        else
            readService(entry, services->try_emplace(name, RecordedController()).first->second);
    });
    answers.services = std::shared_ptr<const RecordedServices>(std::move(services));
}

RecordedUserClient::RecordedUserClient(Diagnostics& diagnostics)
    : services_(diagnostics.source(Source, "management controllers")) {}

Result<const RecordedController*> RecordedUserClient::service(const std::string& className) const {
    if (!answers_.services) return answers_.services.failure();
    const auto found = (*answers_.services)->find(className);
    if (found == (*answers_.services)->end())
        return Failure{FailureKind::Absent, Source, "there is no service " + className};
    if (!found->second) return found->second.failure();
    return &*found->second;
}

Result<const std::string*> RecordedUserClient::classOf(UserClientConnection connection) const {
    const auto found = connections_.find(connection);
    if (found == connections_.end()) return gone("the connection is not open");
    return &found->second;
}

Result<UserClientConnection> RecordedUserClient::open(const std::string& className, std::uint32_t) {
    std::lock_guard lock(mutex_);
    if (const auto found = service(className); !found) return services_.failed(found.failure());
    connections_.emplace(++lastConnection_, className);
    services_.works();
    return lastConnection_;
}

Status RecordedUserClient::callScalar(UserClientConnection connection, std::uint32_t selector) {
    std::lock_guard lock(mutex_);
    if (const auto name = classOf(connection); !name) return services_.failed(name.failure());
    if (selector == ControllerOpenSelector) return {};
    return Failure{FailureKind::Unsupported, Source, "no method " + std::to_string(selector) + " without arguments"};
}

Result<std::size_t> RecordedUserClient::callStructure(UserClientConnection connection, std::uint32_t selector,
                                                      std::span<const std::uint8_t> input,
                                                      std::span<std::uint8_t> output) {
    std::lock_guard lock(mutex_);
    return noted(services_, answerCall(connection, selector, input, output));
}

Result<std::size_t> RecordedUserClient::answerCall(UserClientConnection connection, std::uint32_t selector,
                                                   std::span<const std::uint8_t> input,
                                                   std::span<std::uint8_t> output) {
    const auto name = classOf(connection);
    if (!name) return name.failure();
    const auto controller = service(**name);
    if (!controller && controller.failure().kind == FailureKind::Absent) return gone(controller.failure().detail);
    if (!controller) return controller.failure();
    if (selector != ControllerCallSelector)
        return Failure{FailureKind::Unsupported, Source, "no method " + std::to_string(selector) + " of a structure"};
    ServedKeys keys(**controller);
    auto answer = answerControllerCall(keys, input, output);
    if (const auto& written = keys.written()) {
        auto services = std::make_shared<RecordedServices>(**answers_.services);
        services->at(**name)->keys[written->place].bytes = written->bytes;
        answers_.services = std::shared_ptr<const RecordedServices>(std::move(services));
    }
    return answer;
}

void RecordedUserClient::close(UserClientConnection connection) {
    std::lock_guard lock(mutex_);
    connections_.erase(connection);
}

std::size_t RecordedUserClient::connectionCount() const {
    std::lock_guard lock(mutex_);
    return connections_.size();
}

}  // namespace hvk
