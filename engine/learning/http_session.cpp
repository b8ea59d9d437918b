// SPDX-License-Identifier: Apache-2.0
#include "engine/learning/http_session.h"

#include "engine/learning/curl_library.h"
#include "engine/learning/pipe_signal_block.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <sys/socket.h>

namespace Learning {

namespace {

using Result = RemoteInference::Result;

constexpr int c_maximumRedirects = 3;
// A cancel is looked for this often while nothing comes.
constexpr int c_waitMilliseconds = 20;
constexpr std::size_t c_maximumHeaderBytes = 256 << 10;
constexpr std::size_t c_maximumPollBytes = 1 << 20;
constexpr std::chrono::milliseconds c_pollInterval{400};

HttpAddress ParseServiceAddress(std::string const& url) {
    auto address = HttpAddress::Parse(url);
    if (!address || address->url.find_first_of("?#") != std::string::npos)
        throw Kernel::Exception(
            "the address of the service is not one such as http://127.0.0.1:8188 or https://example.org/images");
    return *address;
}

// Programs that this one starts are not to find connections open.
curl_socket_t OpenSocket(void*, curlsocktype, curl_sockaddr* address) {
    return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

std::string ToSeconds(std::chrono::milliseconds time) {
    auto const tenths = (time.count() + 50) / 100;
    return std::to_string(tenths / 10) + (tenths % 10 != 0 ? "." + std::to_string(tenths % 10) : "") +
           (tenths == 10 ? " second" : " seconds");
}

} // namespace

// libcurl's own set of connections, and one handle for each of the two transfers that may go on.
class HttpSession::Connections {
public:
    Connections() : m_multi(m_curl.makeMulti()), m_main(m_curl.makeEasy()), m_beside(m_curl.makeEasy()) {
        if (m_multi == nullptr || m_main == nullptr || m_beside == nullptr)
            throw Kernel::Exception("there is no memory for connections to a service");
    }
    Connections(Connections const&) = delete;
    Connections& operator=(Connections const&) = delete;
    ~Connections() {
        m_curl.freeEasy(m_main);
        m_curl.freeEasy(m_beside);
        m_curl.freeMulti(m_multi);
    }
    CURLM* GetMulti() const { return m_multi; }
    CURL* GetMain() const { return m_main; }
    CURL* GetBeside() const { return m_beside; }

private:
    CurlLibrary const& m_curl = CurlLibrary::Get();
    CURLM* m_multi;
    CURL *m_main, *m_beside;
};

// Connections for one request, given back at its end.
class HttpSession::Lease {
public:
    explicit Lease(HttpSession& session) : m_session(session) {
        {
            std::lock_guard const lock(session.m_mutex);
            if (!session.m_idle.empty()) {
                m_connections = std::move(session.m_idle.back());
                session.m_idle.pop_back();
            }
        }
        if (!m_connections)
            m_connections = std::make_unique<Connections>();
    }
    Lease(Lease const&) = delete;
    Lease& operator=(Lease const&) = delete;
    ~Lease() {
        std::lock_guard const lock(m_session.m_mutex);
        m_session.m_idle.push_back(std::move(m_connections));
    }
    Connections& Get() const { return *m_connections; }

private:
    HttpSession& m_session;
    std::unique_ptr<Connections> m_connections;
};

// One exchange of a request for an answer, from its construction on.
class HttpSession::Transfer {
public:
    Transfer(HttpSession const& session, CURLM* multi, CURL* easy, HttpRequest const& request, std::size_t maximumBytes)
        : m_multi(multi), m_easy(easy), m_maximumBytes(maximumBytes), m_active(Clock::now()) {
        m_curl.resetEasy(easy);
        SetUp(session.m_options, request);
        m_curl.addToMulti(multi, easy);
    }
    Transfer(Transfer const&) = delete;
    Transfer& operator=(Transfer const&) = delete;
    ~Transfer() {
        m_curl.removeFromMulti(m_multi, m_easy);
        // Nothing in the handle may point to what goes away here.
        m_curl.resetEasy(m_easy);
        m_curl.freeList(m_headers);
        m_curl.freeForm(m_form);
    }

    void End(CURLcode code) {
        m_hasEnded = true;
        m_code = code;
    }
    bool HasEnded() const { return m_hasEnded; }
    CURLcode GetCode() const { return m_code; }
    bool IsTooLarge() const { return m_isTooLarge; }
    CURL* GetHandle() const { return m_easy; }
    std::string& GetBody() { return m_body; }
    long GetStatus() const {
        long status = 0;
        m_curl.getInfo(m_easy, CURLINFO_RESPONSE_CODE, &status);
        return status;
    }
    std::string GetLocation() const {
        char* text = nullptr;
        m_curl.getInfo(m_easy, CURLINFO_REDIRECT_URL, &text);
        return text != nullptr ? text : "";
    }
    bool IsConnected() const {
        curl_off_t time = 0;
        m_curl.getInfo(m_easy, CURLINFO_PRETRANSFER_TIME_T, &time);
        return time > 0;
    }
    // When a byte came, or went: pictures may take their time on the way to the service.
    Clock::time_point GetLastActivity() {
        curl_off_t sent = 0;
        m_curl.getInfo(m_easy, CURLINFO_SIZE_UPLOAD_T, &sent);
        if (sent != m_sent)
            m_active = Clock::now();
        m_sent = sent;
        return m_active;
    }

private:
    template <class T>
    void Set(CURLoption option, T value) {
        if (m_curl.setOption(m_easy, option, value) != CURLE_OK)
            throw Kernel::Exception("the library libcurl.so.4 lacks what calls of services need");
    }

    void SetUp(ServiceOptions const& options, HttpRequest const& request) {
        Set(CURLOPT_URL, request.url.c_str());
        Set(CURLOPT_PROTOCOLS_STR, "http,https");
        Set(CURLOPT_HTTP_VERSION, long(CURL_HTTP_VERSION_1_1));
        Set(CURLOPT_NOSIGNAL, 1L);
        Set(CURLOPT_QUICK_EXIT, 1L);
        Set(CURLOPT_PROXY, "");
        Set(CURLOPT_USERAGENT, "redraft");
        Set(CURLOPT_CONNECTTIMEOUT_MS, long(options.connectTime.count()));
        Set(CURLOPT_MAXFILESIZE_LARGE, curl_off_t(m_maximumBytes));
        Set(CURLOPT_OPENSOCKETFUNCTION, &OpenSocket);
        Set(CURLOPT_WRITEFUNCTION, &Transfer::OnBody);
        Set(CURLOPT_WRITEDATA, this);
        Set(CURLOPT_HEADERFUNCTION, &Transfer::OnHeader);
        Set(CURLOPT_HEADERDATA, this);
        if (!options.certificates.empty()) {
            Set(CURLOPT_CAINFO, options.certificates.c_str());
            Set(CURLOPT_CAPATH, static_cast<char const*>(nullptr));
        }
        // Services would have to be asked whether they want the body, and some never answer.
        AddHeader("Expect:");
        if (!options.token.empty())
            AddHeader("Authorization: Bearer " + options.token);
        if (!request.form.empty()) {
            SetForm(request.form);
        } else if (!request.body.empty()) {
            AddHeader("Content-Type: application/json");
            Set(CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(request.body.size()));
            Set(CURLOPT_POSTFIELDS, request.body.c_str());
        }
        Set(CURLOPT_HTTPHEADER, m_headers);
    }

    void AddHeader(std::string const& header) {
        auto* const longer = m_curl.appendToList(m_headers, header.c_str());
        if (longer == nullptr)
            throw std::bad_alloc();
        m_headers = longer;
    }

    void SetForm(std::vector<HttpPart> const& parts) {
        m_form = m_curl.makeForm(m_easy);
        for (auto const& part : parts) {
            auto* const field = m_curl.addPart(m_form);
            m_curl.setPartName(field, part.name.c_str());
            if (!part.fileName.empty())
                m_curl.setPartFileName(field, part.fileName.c_str());
            if (!part.type.empty())
                m_curl.setPartType(field, part.type.c_str());
            if (m_curl.setPartData(field, part.data.data(), part.data.size()) != CURLE_OK)
                throw std::bad_alloc();
        }
        Set(CURLOPT_MIMEPOST, m_form);
    }

    static std::size_t OnBody(char* bytes, std::size_t size, std::size_t count, void* data) {
        auto& transfer = *static_cast<Transfer*>(data);
        transfer.m_active = Clock::now();
        if (size * count > transfer.m_maximumBytes - transfer.m_body.size()) {
            transfer.m_isTooLarge = true;
            return 0;
        }
        try {
            if (transfer.m_body.empty())
                transfer.MakeRoom();
            transfer.m_body.append(bytes, size * count);
        } catch (std::bad_alloc const&) {
            transfer.m_isTooLarge = true;
            return 0;
        }
        return size * count;
    }

    // For as much as the answer says it is, within reason, and for what readers of it want behind it.
    void MakeRoom() {
        constexpr curl_off_t c_mostTrusted = 64 << 20;
        constexpr std::size_t c_roomBehind = 64;
        curl_off_t length = 0;
        m_curl.getInfo(m_easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
        if (0 < length && length <= c_mostTrusted)
            m_body.reserve(static_cast<std::size_t>(length) + c_roomBehind);
    }

    static std::size_t OnHeader(char*, std::size_t size, std::size_t count, void* data) {
        auto& transfer = *static_cast<Transfer*>(data);
        transfer.m_active = Clock::now();
        transfer.m_headerBytes += size * count;
        transfer.m_isTooLarge = transfer.m_headerBytes > c_maximumHeaderBytes;
        return transfer.m_isTooLarge ? 0 : size * count;
    }

    CurlLibrary const& m_curl = CurlLibrary::Get();
    CURLM* m_multi;
    CURL* m_easy;
    curl_slist* m_headers = nullptr;
    curl_mime* m_form = nullptr;
    std::string m_body;
    std::size_t m_maximumBytes;
    std::size_t m_headerBytes = 0;
    curl_off_t m_sent = 0;
    Clock::time_point m_active;
    CURLcode m_code = CURLE_OK;
    bool m_hasEnded = false;
    bool m_isTooLarge = false;
};

HttpSession::HttpSession(ServiceOptions const& options)
    : m_options(options), m_address(ParseServiceAddress(options.url)) {
    auto const isVisible = [](char character) { return '!' <= character && character <= '~'; };
    if (!std::all_of(options.token.begin(), options.token.end(), isVisible))
        throw Kernel::Exception("the token of the service holds characters that no token can have");
}

HttpSession::~HttpSession() = default;

Result HttpSession::Fail(int code, std::string const& text) const {
    return {code, Kernel::String(m_address.origin + ": " + text)};
}

namespace {

bool IsRedirect(long status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// Code, and a text to stand behind the service's name.
std::pair<int, char const*> DescribeFailedTransfer(CURLcode code, bool isConnected) {
    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
        return {RemoteInference::Unreachable, "there is no host of this name"};
    case CURLE_COULDNT_CONNECT:
        return {RemoteInference::Unreachable, "nobody answers"};
    case CURLE_OPERATION_TIMEDOUT:
        return {RemoteInference::TimedOut, isConnected ? "no answer came in time" : "no connection came about in time"};
    case CURLE_SSL_CONNECT_ERROR:
        return {RemoteInference::Unreachable, "no secure connection came about"};
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
        return {RemoteInference::Unreachable, "its certificate is not trusted"};
    case CURLE_SSL_CACERT_BADFILE:
        return {RemoteInference::Unreachable, "the file of trusted certificates cannot be read"};
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_PARTIAL_FILE:
        return {RemoteInference::Unreachable, "the connection broke before the answer was whole"};
    case CURLE_FILESIZE_EXCEEDED:
        return {RemoteInference::TooLarge, "the answer is larger than allowed"};
    default:
        return {RemoteInference::BadAnswer, "the answer is not of the protocol HTTP"};
    }
}

} // namespace

HttpAnswer HttpSession::Send(HttpRequest const& request, InferenceCall const& call, HttpPoll const* poll) {
    PipeSignalBlock const block;
    Lease const lease(*this);
    auto const begin = Clock::now();
    // The request itself, or what a redirect made of it.
    HttpRequest const* current = &request;
    HttpRequest redirected;
    for (int hops = 0;; ++hops) {
        std::string location;
        auto answer = Exchange(lease.Get(), *current, begin, call, poll, location);
        if (answer.failure.code != RemoteInference::Answered || !IsRedirect(answer.status))
            return answer;
        if (hops == c_maximumRedirects)
            return {Fail(RemoteInference::BadAnswer, "the service sends on to other addresses too often"), 0, {}};
        auto const target = HttpAddress::Parse(location, current->url);
        if (!target || target->origin != m_address.origin)
            return {
                Fail(RemoteInference::BadAnswer, "the service sends on to another host, which is not followed"), 0, {}};
        if (answer.status == 303)
            redirected = {};
        else if (current == &request)
            redirected = request;
        redirected.url = target->url;
        current = &redirected;
    }
}

HttpAnswer HttpSession::Exchange(Connections& connections, HttpRequest const& request, Clock::time_point begin,
                                 InferenceCall const& call, HttpPoll const* poll, std::string& location) const {
    auto const& curl = CurlLibrary::Get();
    CURLM* const multi = connections.GetMulti();
    Transfer transfer(*this, multi, connections.GetMain(), request, m_options.maximumAnswer);
    std::unique_ptr<Transfer> beside;
    auto nextPoll = Clock::now() + c_pollInterval;
    while (!transfer.HasEnded()) {
        int running = 0;
        if (curl.perform(multi, &running) != CURLM_OK)
            return {Fail(RemoteInference::Unreachable, "the connection cannot be used"), 0, {}};
        int left = 0;
        while (auto const* const message = curl.readMessage(multi, &left)) {
            if (message->msg != CURLMSG_DONE)
                continue;
            if (message->easy_handle == transfer.GetHandle())
                transfer.End(message->data.result);
            else if (beside)
                beside->End(message->data.result);
        }
        if (transfer.HasEnded())
            break;
        if (call.IsCancelled())
            return {{RemoteInference::Cancelled, "cancelled"}, 0, {}};
        auto const now = Clock::now();
        if (now - begin >= m_options.totalTime)
            return {Fail(RemoteInference::TimedOut, "the answer was not whole after " + ToSeconds(m_options.totalTime)),
                    0,
                    {}};
        if (now - transfer.GetLastActivity() >= m_options.silentTime)
            return {Fail(RemoteInference::TimedOut, "nothing came for " + ToSeconds(m_options.silentTime)), 0, {}};
        if (beside && beside->HasEnded()) {
            if (beside->GetCode() == CURLE_OK && beside->GetStatus() == 200)
                poll->receive(beside->GetBody());
            beside.reset();
            nextPoll = now + c_pollInterval;
        }
        if (poll != nullptr && !beside && now >= nextPoll)
            beside = std::make_unique<Transfer>(*this, multi, connections.GetBeside(), HttpRequest{poll->url, {}, {}},
                                                c_maximumPollBytes);
        curl.poll(multi, nullptr, 0, c_waitMilliseconds, nullptr);
    }
    if (transfer.IsTooLarge())
        return {Fail(RemoteInference::TooLarge, "the answer is larger than allowed"), 0, {}};
    if (transfer.GetCode() != CURLE_OK) {
        auto const [code, text] = DescribeFailedTransfer(transfer.GetCode(), transfer.IsConnected());
        return {Fail(code, text), 0, {}};
    }
    location = transfer.GetLocation();
    return {{}, transfer.GetStatus(), std::move(transfer.GetBody())};
}

} // namespace Learning
