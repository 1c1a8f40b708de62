#include "HVKPlatform/linux/HTTP.h"

#include <curl/curl.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace hvk {

namespace {

constexpr std::size_t LongestHeaders = 256 * 1024;
constexpr long MostRedirects = 16;
/// How long the worker sleeps when nothing happens; it is woken for everything.
constexpr int IdleMilliseconds = 60'000;
constexpr double LongestTimeout = 86'400;

struct EasyDeleter {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
struct ListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

bool beginsWithIgnoringCase(const std::string& text, std::string_view start) {
    return text.size() >= start.size() && std::equal(start.begin(), start.end(), text.begin(), [](char a, char b) {
               return a == (b >= 'A' && b <= 'Z' ? static_cast<char>(b - 'A' + 'a') : b);
           });
}

/// A request on its way: what it sends, and what has come so far. libcurl points into it.
class Exchange {
public:
    Exchange(HTTPRequest request, HTTPPort::Completion completion)
        : request_(std::move(request)), completion_(std::move(completion)), handle_(curl_easy_init()) {}
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    CURL* handle() const { return handle_.get(); }

    /// Tells libcurl what to do; false when it has no memory for it.
    bool prepare() {
        if (!handle_) return false;
        error_.assign(CURL_ERROR_SIZE, '\0');
        bool works = true;
        const auto set = [&](CURLoption option, auto value) {
            works = works && curl_easy_setopt(handle_.get(), option, value) == CURLE_OK;
        };
        set(CURLOPT_URL, request_.url.c_str());
        if (!request_.body.empty() || request_.method == "POST") {
            set(CURLOPT_POST, 1L);
            set(CURLOPT_POSTFIELDS, request_.body.c_str());
            set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.body.size()));
        }
        // A method that is forced outlives a redirection that asks for another one.
        if (request_.method != "POST" && request_.method != "GET") set(CURLOPT_CUSTOMREQUEST, request_.method.c_str());
        // libcurl's own type for a body is that of a form, and it waits a second for leave to send a larger one.
        add(request_.contentType.empty() ? "Content-Type:" : "Content-Type: " + request_.contentType);
        add("Expect:");
        set(CURLOPT_HTTPHEADER, headers_.get());
        set(CURLOPT_USERAGENT, "HVKStatisticsKit");
        set(CURLOPT_TIMEOUT_MS, timeoutMilliseconds());
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_FOLLOWLOCATION, 1L);
        set(CURLOPT_MAXREDIRS, MostRedirects);
        setProtocols(set);
        set(CURLOPT_WRITEFUNCTION, &Exchange::takeBody);
        set(CURLOPT_WRITEDATA, this);
        set(CURLOPT_HEADERFUNCTION, &Exchange::takeHeader);
        set(CURLOPT_HEADERDATA, this);
        set(CURLOPT_ERRORBUFFER, error_.data());
        set(CURLOPT_PRIVATE, this);
#if LIBCURL_VERSION_NUM >= 0x075700
        // A name that is still being looked up does not hold the end of a request.
        set(CURLOPT_QUICK_EXIT, 1L);
#endif
        return works && headersWork_;
    }

    Result<HTTPAnswer> answer(CURLcode code) {
        const std::string source = request_.url;
        if (tooLong_) return Failure{FailureKind::Malformed, source, tooLong_};
        if (code != CURLE_OK) {
            const char* detail = error_.front() != '\0' ? error_.data() : curl_easy_strerror(code);
            return Failure{kindOf(code), source, detail};
        }
        HTTPAnswer answer;
        long status = 0;
        curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
        answer.status = static_cast<int>(status);
        answer.body = std::move(body_);
        return answer;
    }

    void complete(Result<HTTPAnswer> answer) {
        if (completion_) completion_(std::move(answer));
    }

    const std::string& url() const { return request_.url; }

private:
    static FailureKind kindOf(CURLcode code) {
        switch (code) {
            case CURLE_OPERATION_TIMEDOUT: return FailureKind::TimedOut;
            case CURLE_COULDNT_RESOLVE_HOST:
            case CURLE_COULDNT_RESOLVE_PROXY:
            case CURLE_COULDNT_CONNECT:
            case CURLE_INTERFACE_FAILED:
            case CURLE_PROXY: return FailureKind::Absent;
            default: return FailureKind::Malformed;
        }
    }

    template <class Set>
    void setProtocols(const Set& set) const {
        const bool secure = beginsWithIgnoringCase(request_.url, "https:");
#if LIBCURL_VERSION_NUM >= 0x075500
        set(CURLOPT_PROTOCOLS_STR, "http,https");
        set(CURLOPT_REDIR_PROTOCOLS_STR, secure ? "https" : "http,https");
#else
        set(CURLOPT_PROTOCOLS, static_cast<long>(CURLPROTO_HTTP | CURLPROTO_HTTPS));
        set(CURLOPT_REDIR_PROTOCOLS, static_cast<long>(secure ? CURLPROTO_HTTPS : CURLPROTO_HTTP | CURLPROTO_HTTPS));
#endif
    }

    /// At least one millisecond: 0 would be no limit.
    long timeoutMilliseconds() const {
        const double seconds = std::isnan(request_.timeout) ? 0 : std::clamp(request_.timeout, 0.0, LongestTimeout);
        return std::max(1L, std::lround(seconds * 1000));
    }

    void add(const std::string& header) {
        curl_slist* longer = curl_slist_append(headers_.get(), header.c_str());
        headersWork_ = headersWork_ && longer != nullptr;
        if (longer == nullptr) return;
        (void)headers_.release();
        headers_.reset(longer);
    }

    static std::size_t takeBody(char* bytes, std::size_t size, std::size_t count, void* exchange) {
        Exchange& self = *static_cast<Exchange*>(exchange);
        const std::size_t length = size * count;
        // What a redirection says of itself is no answer; libcurl does not hand it over.
        if (length > self.request_.limit - self.body_.size()) {
            self.tooLong_ = "the answer is longer than allowed";
            return length + 1;
        }
        self.body_.insert(self.body_.end(), bytes, bytes + length);
        return length;
    }

    static std::size_t takeHeader(char*, std::size_t size, std::size_t count, void* exchange) {
        Exchange& self = *static_cast<Exchange*>(exchange);
        self.headerLength_ += size * count;
        if (self.headerLength_ <= LongestHeaders) return size * count;
        self.tooLong_ = "the headers of the answer have no end";
        return size * count + 1;
    }

    HTTPRequest request_;
    HTTPPort::Completion completion_;
    std::unique_ptr<curl_slist, ListDeleter> headers_;
    bool headersWork_ = true;
    std::string error_;
    std::vector<std::uint8_t> body_;
    std::size_t headerLength_ = 0;
    const char* tooLong_ = nullptr;
    std::unique_ptr<CURL, EasyDeleter> handle_;  ///< last, so that it goes before what it points to
};

}  // namespace

/// The thread and the requests on the way.
class CurlHTTPPort::Worker {
public:
    explicit Worker(SourceHealth& health) : health_(health) {
        static const CURLcode initialized = curl_global_init(CURL_GLOBAL_DEFAULT);
        multi_ = initialized == CURLE_OK ? curl_multi_init() : nullptr;
    }

    ~Worker() {
        stop();
        if (multi_ != nullptr) curl_multi_cleanup(multi_);
    }

    void send(std::unique_ptr<Exchange> exchange) {
        if (multi_ == nullptr) {
            refuse(*exchange);
            return;
        }
        const std::lock_guard lock(mutex_);
        if (stopped_) return;
        waiting_.push_back(std::move(exchange));
        if (!thread_.joinable()) thread_ = std::thread([this] { run(); });
        (void)curl_multi_wakeup(multi_);
    }

    void stop() {
        std::thread thread;
        {
            const std::lock_guard lock(mutex_);
            stopped_ = true;
            waiting_.clear();
            std::swap(thread, thread_);
            if (multi_ != nullptr) (void)curl_multi_wakeup(multi_);
        }
        if (thread.joinable()) thread.join();
    }

private:
    void run() {
        while (begin()) {
            int running = 0;
            (void)curl_multi_perform(multi_, &running);
            finish();
            if (isStopped()) break;
            (void)curl_multi_poll(multi_, nullptr, 0, IdleMilliseconds, nullptr);
        }
        // Ends every request where it is; nobody is told.
        for (const auto& [handle, exchange] : underway_) (void)curl_multi_remove_handle(multi_, handle);
        underway_.clear();
    }

    bool isStopped() {
        const std::lock_guard lock(mutex_);
        return stopped_;
    }

    /// Takes on what was sent since; false at the end.
    bool begin() {
        std::vector<std::unique_ptr<Exchange>> fresh;
        {
            const std::lock_guard lock(mutex_);
            if (stopped_) return false;
            std::swap(fresh, waiting_);
        }
        for (auto& exchange : fresh) {
            CURL* handle = exchange->handle();
            if (exchange->prepare() && curl_multi_add_handle(multi_, handle) == CURLM_OK)
                underway_.emplace(handle, std::move(exchange));
            else
                refuse(*exchange);
        }
        return true;
    }

    void refuse(Exchange& exchange) {
        complete(exchange, Failure{FailureKind::Malformed, exchange.url(), "libcurl cannot take the request on"});
    }

    void finish() {
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
            if (message->msg != CURLMSG_DONE) continue;
            CURL* handle = message->easy_handle;
            const CURLcode code = message->data.result;
            const auto found = underway_.find(handle);
            (void)curl_multi_remove_handle(multi_, handle);
            if (found == underway_.end()) continue;
            const std::unique_ptr<Exchange> exchange = std::move(found->second);
            underway_.erase(found);
            complete(*exchange, exchange->answer(code));
        }
    }

    void complete(Exchange& exchange, Result<HTTPAnswer> answer) {
        if (isStopped()) return;
        if (answer)
            health_.works();
        else
            (void)health_.failed(answer.failure());
        exchange.complete(std::move(answer));
    }

    SourceHealth& health_;
    CURLM* multi_ = nullptr;
    std::mutex mutex_;
    bool stopped_ = false;
    std::vector<std::unique_ptr<Exchange>> waiting_;
    std::thread thread_;
    std::map<CURL*, std::unique_ptr<Exchange>> underway_;  ///< the thread's own
};

CurlHTTPPort::CurlHTTPPort(const LinuxRoot& root, Diagnostics& diagnostics)
    : live_(root.isLive()),
      health_(diagnostics.source("libcurl", "requests to servers", "check the network and the server's address")),
      worker_(std::make_unique<Worker>(health_)) {}

CurlHTTPPort::~CurlHTTPPort() = default;

void CurlHTTPPort::send(HTTPRequest request, Completion completion) {
    if (!live_) {
        completion(Failure{FailureKind::Unsupported, "libcurl", "a saved tree sends nothing"});
        return;
    }
    worker_->send(std::make_unique<Exchange>(std::move(request), std::move(completion)));
}

void CurlHTTPPort::stop() { worker_->stop(); }

}  // namespace hvk
