#include "HVKPlatform/recorded/Bluetooth.h"

namespace hvk {

void readBluetooth(const RecordingField& section, BluetoothAnswers& answers) {
    constexpr const char* Source = "recording: bluetooth.authorization";
    if (auto failure = section.failure(Source)) {
        answers.authorization = std::move(*failure);
        return;
    }
    section.allowOnly({"authorization"});
    readAnswer(section, "authorization", Source, answers.authorization, [](const RecordingField& field) {
        constexpr auto Largest = static_cast<std::uint64_t>(BluetoothAuthorization::AllowedAlways);
        return static_cast<BluetoothAuthorization>(field.unsignedInteger(Largest));
    });
}

RecordedBluetooth::RecordedBluetooth(Diagnostics& diagnostics)
    : authorization_(diagnostics.source("recording: bluetooth.authorization", "Bluetooth authorisation")) {}

Result<BluetoothAuthorization> RecordedBluetooth::authorization() {
    return answer(authorization_, &BluetoothAnswers::authorization);
}

}  // namespace hvk
