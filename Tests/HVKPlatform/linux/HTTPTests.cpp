// Requests over libcurl against servers of this machine that answer rightly, wrongly, endlessly and never.

#include "HVKPlatform/linux/HTTP.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <asio.hpp>
#include <chrono>
#include <cstdlib>
#include <future>
#include <thread>

#include "support/SavedTree.h"

namespace hvk {
namespace {

using asio::ip::tcp;
using testing::HasSubstr;

/// A server that takes connections one after the other and handles each with one function, until it is destroyed.
class Server {
public:
    using Handler = std::function<void(tcp::socket&, const std::string& request)>;

    explicit Server(Handler handler) : handler_(std::move(handler)), thread_([this] { serve(); }) {}
    ~Server() {
        stopped_ = true;
        // Wakes the acceptor; what a handler waits for ends with its client.
        asio::io_context context;
        tcp::socket last(context);
        asio::error_code ignored;
        last.connect(acceptor_.local_endpoint(), ignored);
        thread_.join();
    }

    std::string url() const {
        return "http://127.0.0.1:" + std::to_string(acceptor_.local_endpoint().port()) + "/path/";
    }

private:
    void serve() {
        while (true) {
            tcp::socket socket(context_);
            asio::error_code error;
            acceptor_.accept(socket, error);
            if (error || stopped_) return;
            handler_(socket, readRequest(socket));
        }
    }

    static std::string readRequest(tcp::socket& socket) {
        std::string request;
        asio::error_code error;
        const std::size_t head = asio::read_until(socket, asio::dynamic_buffer(request), "\r\n\r\n", error);
        const auto at = request.find("Content-Length: ");
        if (error || at == std::string::npos) return request;
        const std::size_t length = std::strtoul(request.c_str() + at + 16, nullptr, 10);
        if (request.size() < head + length)
            asio::read(socket, asio::dynamic_buffer(request), asio::transfer_exactly(head + length - request.size()),
                       error);
        return request;
    }

    Handler handler_;
    asio::io_context context_;
    tcp::acceptor acceptor_{context_, {asio::ip::address_v4::loopback(), 0}};
    std::atomic<bool> stopped_ = false;
    std::thread thread_;
};

void send(tcp::socket& socket, const std::string& text) {
    asio::error_code ignored;
    asio::write(socket, asio::buffer(text), ignored);
}

/// Waits until the client has gone.
void waitForEnd(tcp::socket& socket) {
    char byte = 0;
    asio::error_code error;
    while (!error) socket.read_some(asio::buffer(&byte, 1), error);
}

std::string answer(const std::string& body) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

class HTTP : public testing::Test {
protected:
    HTTP() {
        ::setenv("no_proxy", "127.0.0.1", 1);
        http = std::make_unique<CurlHTTPPort>(LinuxRoot("/"), diagnostics);
    }

    Result<HTTPAnswer> ask(const std::string& url, double timeout = 20, std::size_t limit = 1000,
                           const std::string& body = "{}") {
        std::promise<Result<HTTPAnswer>> answered;
        http->send({"POST", url, "application/json", body, timeout, limit},
                   [&](Result<HTTPAnswer> result) { answered.set_value(std::move(result)); });
        return answered.get_future().get();
    }

    Diagnostics diagnostics;
    std::unique_ptr<CurlHTTPPort> http;
};

std::string textOf(const Result<HTTPAnswer>& answer) {
    if (!answer) return "(" + std::string(failureKindName(answer.failure().kind)) + ")";
    return std::to_string(answer->status) + " " + std::string(answer->body.begin(), answer->body.end());
}

TEST_F(HTTP, SendsWhatItIsGivenAndBringsWhatComes) {
    std::string seen;
    Server server([&](tcp::socket& socket, const std::string& request) {
        seen = request;
        send(socket, "HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\nbody");
    });
    const std::string large(300'000, 'b');
    EXPECT_EQ(textOf(ask(server.url(), 20, 1000, large)), "404 body") << "the status is no failure";
    EXPECT_THAT(seen, testing::StartsWith("POST /path/ HTTP/1.1\r\n"));
    EXPECT_THAT(seen, HasSubstr("Content-Type: application/json\r\n"));
    EXPECT_THAT(seen, testing::Not(HasSubstr("Expect:")));
    EXPECT_THAT(seen, testing::EndsWith("\r\n\r\n" + large));
}

TEST_F(HTTP, WhatIsNoAnswerHasItsReason) {
    const struct {
        const char* story;
        Server::Handler handler;
        const char* result;
    } cases[] = {
        {"in pieces",
         [](auto& socket, auto&) {
             for (const char c : answer("slow")) send(socket, std::string(1, c));
         },
         "200 slow"},
        {"cut short", [](auto& socket, auto&) { send(socket, answer("truncated").substr(0, 45)); }, "(malformed)"},
        {"garbage", [](auto& socket, auto&) { send(socket, "\x01\x02 garbage\r\n\r\n"); }, "(malformed)"},
        {"nothing at all", [](auto&, auto&) {}, "(malformed)"},
        {"too long, announced", [](auto& socket, auto&) { send(socket, answer(std::string(1001, 'x'))); },
         "(malformed)"},
        {"just right", [](auto& socket, auto&) { send(socket, answer(std::string(1000, 'x'))); }, nullptr},
        {"endless body",
         [](auto& socket, auto&) {
             send(socket, "HTTP/1.1 200 OK\r\n\r\n");
             asio::error_code error;
             const std::string piece(4096, 'x');
             while (!error) asio::write(socket, asio::buffer(piece), error);
         },
         "(malformed)"},
        {"endless headers",
         [](auto& socket, auto&) {
             send(socket, "HTTP/1.1 200 OK\r\n");
             asio::error_code error;
             const std::string piece = "X-More: " + std::string(4000, 'x') + "\r\n";
             while (!error) asio::write(socket, asio::buffer(piece), error);
         },
         "(malformed)"},
        {"another protocol",
         [](auto& socket, auto&) {
             send(socket, "HTTP/1.1 302 Found\r\nLocation: file:///etc/hostname\r\nContent-Length: 0\r\n\r\n");
         },
         "(malformed)"},
    };
    for (const auto& one : cases) {
        Server server(one.handler);
        const auto result = ask(server.url());
        EXPECT_EQ(textOf(result), one.result != nullptr ? one.result : "200 " + std::string(1000, 'x')) << one.story;
    }
    EXPECT_EQ(textOf(ask("file:///etc/hostname")), "(malformed)");
    EXPECT_EQ(textOf(ask("no address at all")), "(malformed)");
    std::string closed;
    {
        closed = Server([](auto&, auto&) {}).url();
    }
    EXPECT_EQ(textOf(ask(closed)), "(absent)");
}

TEST_F(HTTP, AServerThatNeverAnswersHoldsNobody) {
    Server silent([](tcp::socket& socket, auto&) { waitForEnd(socket); });
    Server dripping([](tcp::socket& socket, auto&) {
        send(socket, "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nonce");
        waitForEnd(socket);
    });
    EXPECT_EQ(textOf(ask(silent.url(), 0.05)), "(timed out)");
    EXPECT_EQ(textOf(ask(dripping.url(), 0.05)), "(timed out)") << "the time is for the whole answer";

    // One that waits does not hold the next, and the end does not wait for it.
    std::atomic<bool> called = false;
    http->send({"POST", silent.url(), "", "", 600, 1000}, [&](auto) { called = true; });
    Server quick([](tcp::socket& socket, auto&) { send(socket, answer("quick")); });
    EXPECT_EQ(textOf(ask(quick.url())), "200 quick");
    const auto start = std::chrono::steady_clock::now();
    http.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    EXPECT_FALSE(called) << "who is gone is not called";
}

TEST_F(HTTP, ACompletionMaySendAgain) {
    Server server([](tcp::socket& socket, auto&) { send(socket, answer("again")); });
    std::promise<std::string> second;
    http->send({"POST", server.url(), "", "", 20, 1000}, [&](auto) {
        http->send({"GET", server.url(), "", "", 20, 1000}, [&](auto result) { second.set_value(textOf(result)); });
    });
    EXPECT_EQ(second.get_future().get(), "200 again");
    http->stop();
    http->send({"GET", server.url(), "", "", 20, 1000}, [](auto) { ADD_FAILURE() << "after the end"; });
}

TEST_F(HTTP, ASavedTreeSendsNothing) {
    test::SavedTree folder;
    folder.write("/proc/stat", "");
    http = std::make_unique<CurlHTTPPort>(LinuxRoot(folder.root()), diagnostics);
    EXPECT_EQ(textOf(ask("http://127.0.0.1:1/")), "(unsupported)");
}

}  // namespace
}  // namespace hvk
