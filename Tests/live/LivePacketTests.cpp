// Packets between two network namespaces: what one process sends and another receives is theirs, byte for byte.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include "HVKPlatform/LiveMachine.h"
#include "HVKStatistics/network/HVKStatisticsPackets.h"

namespace hvk {
namespace {

constexpr std::size_t Amount = std::size_t{100} << 20;
constexpr std::uint16_t Port = 7788;

sockaddr_in address(const char* text) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(Port);
    ::inet_pton(AF_INET, text, &address.sin_addr);
    return address;
}

bool run(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

/// Waits for a byte, or sends one.
struct Signal {
    Signal() { (void)!::pipe(ends); }
    void wait() const {
        char byte = 0;
        (void)!::read(ends[0], &byte, 1);
    }
    void give() const { (void)!::write(ends[1], "x", 1); }
    int ends[2] = {-1, -1};
};

/// Fast, but not so fast that a busy machine cannot keep up with reading.
constexpr unsigned BytesPerSecond = 100U << 20;

void exchange(int socket, bool sends) {
    ::setsockopt(socket, SOL_SOCKET, SO_MAX_PACING_RATE, &BytesPerSecond, sizeof BytesPerSecond);
    std::vector<char> buffer(std::size_t{1} << 16, 'x');
    for (std::size_t left = Amount; left > 0;) {
        const std::size_t size = std::min(left, buffer.size());
        const ssize_t moved =
            sends ? ::send(socket, buffer.data(), size, MSG_NOSIGNAL) : ::recv(socket, buffer.data(), size, 0);
        if (moved <= 0) ::_exit(1);
        left -= static_cast<std::size_t>(moved);
    }
}

/// The process in the other namespace: it listens, and gives or takes.
[[noreturn]] void serve(const Signal& isolated, const Signal& connected, bool sends) {
    if (::unshare(CLONE_NEWNET) != 0) ::_exit(1);
    isolated.give();
    connected.wait();
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in own = address("10.77.0.2");
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) ::_exit(1);
    ::listen(listener, 1);
    isolated.give();
    exchange(::accept(listener, nullptr, nullptr), sends);
    for (;;) ::pause();
}

/// The process on this side: it connects, and takes or gives.
[[noreturn]] void connectAndExchange(const Signal& begin, const Signal& done, bool sends) {
    begin.wait();
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in there = address("10.77.0.2");
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&there), sizeof there) != 0) ::_exit(1);
    exchange(socket, sends);
    done.give();
    for (;;) ::pause();
}

class LivePackets : public testing::TestWithParam<bool> {};

TEST_P(LivePackets, BelongToWhoeverSendsAndReceivesThem) {
    const bool sends = GetParam();
    // Every test is a program of its own: this moves it into a network of its own for good.
    if (::unshare(CLONE_NEWNET) != 0) GTEST_SKIP() << "needs the right to make network namespaces";
    const Signal isolated, connected, begin, done;
    const pid_t server = ::fork();
    if (server == 0) serve(isolated, connected, !sends);
    isolated.wait();
    const std::string other = std::to_string(server);
    ASSERT_TRUE(run("ip link add veth7a type veth peer name veth7b netns " + other));
    ASSERT_TRUE(run("ip addr add 10.77.0.1/24 dev veth7a && ip link set veth7a up"));
    ASSERT_TRUE(
        run("nsenter -t " + other + " -n sh -c 'ip addr add 10.77.0.2/24 dev veth7b && ip link set veth7b up'"));
    connected.give();
    isolated.wait();
    const pid_t client = ::fork();
    if (client == 0) connectAndExchange(begin, done, sends);

    const auto machine = makeLiveMachine();
    HVKStatisticsPackets packets(*machine);
    packets.start();
    ASSERT_TRUE(packets.activeItem()->isCapturing());
    begin.give();
    done.wait();
    // What the kernel holds back is handed over within the capture's 200 ms.
    double upload = 0, download = 0, total = 0;
    for (int round = 0; round < 100 && total < Amount && upload + download < Amount; ++round) {
        machine->queues().runMain(0.1);
        const Value stats = packets.activeItem()->stats(0);
        for (const Value& row : stats["packets"]) {
            total += row["upload"].get<double>() + row["download"].get<double>();
            if (row["pid"] != client) continue;
            upload += row["upload"].get<double>();
            download += row["download"].get<double>();
        }
    }
    packets.stop();
    for (const SourceReport& report : machine->diagnostics().reports())
        if (report.failure &&
            (report.purpose.find("packets") != std::string::npos || report.source == "packet capture"))
            ADD_FAILURE() << report.source << ": " << report.failure->detail;
    ::kill(client, SIGKILL);
    ::kill(server, SIGKILL);
    ::waitpid(client, nullptr, 0);
    ::waitpid(server, nullptr, 0);
    // The lengths count the headers of the packets too: up to 52 bytes in 1,500.
    const double expected = Amount;
    EXPECT_GT(sends ? upload : download, 0.98 * expected);
    EXPECT_LT(sends ? upload : download, 1.06 * expected);
    EXPECT_LT(sends ? download : upload, 0.04 * expected) << "nothing but acknowledgements";
}

INSTANTIATE_TEST_SUITE_P(EachWay, LivePackets, testing::Bool());

}  // namespace
}  // namespace hvk
