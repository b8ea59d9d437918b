// SPDX-License-Identifier: Apache-2.0
#include "engine/learning/service_text.h"
#include "tests/engine/learning/services.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <set>
#include <sys/resource.h>

namespace Learning {
namespace {

using Json = nlohmann::json;
using HttpServer = LoopbackServer<httplib::Server>;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr char c_path[] = "/v1/images/generations";

// The result of a service that gives one answer to everything.
RemoteInference::Result AskServerThat(int status, std::string const& body, char const* type = "application/json") {
    HttpServer host;
    host.server.Post(".*", [&](httplib::Request const&, httplib::Response& response) {
        response.status = status;
        response.set_content(body, type);
    });
    host.Start();
    auto options = OptionsFor(host.GetUrl());
    options.token = "secret-1234";
    return Generate(options, Ask("fox"));
}

std::string WithPicture(std::string const& file) { return Json{{"data", {{{"b64_json", EncodeBase64(file)}}}}}.dump(); }

TEST(HostileServices, NobodyAnswers) {
    auto const result = Generate(OptionsFor("http://127.0.0.1:1"), Ask("fox"));
    EXPECT_EQ(result.code, RemoteInference::Unreachable);
    EXPECT_EQ(result.detail, Kernel::String("http://127.0.0.1:1: nobody answers"));
}

TEST(HostileServices, RefusalsTellTheServicesReason) {
    auto const tell = [](int status, std::string const& body) {
        auto const result = AskServerThat(status, body);
        EXPECT_EQ(result.code, RemoteInference::Refused) << status << body;
        auto const detail = result.detail.ToStdString();
        EXPECT_EQ(detail.find("secret"), std::string::npos) << detail;
        return detail.substr(detail.find(": ") + 2);
    };
    EXPECT_EQ(tell(400, R"({"error":{"message":"Your prompt was refused.","code":null}})"), "Your prompt was refused");
    EXPECT_EQ(tell(401, R"({"error":{"message":"Wrong key secret-1234\u001b[2J\n given"}})"),
              "Wrong key *** [2J given");
    EXPECT_EQ(tell(422, R"({"detail":"no such sampler"})"), "no such sampler");
    EXPECT_EQ(tell(422, R"({"detail":[{"loc":["body"],"msg":"field required"}]})"), "field required");
    EXPECT_EQ(tell(500, R"({"error":"OutOfMemoryError","detail":"","errors":"CUDA"})"), "OutOfMemoryError");
    EXPECT_EQ(tell(429, "slow down"), "too many requests at this time (status 429)");
    EXPECT_EQ(tell(500, ""), "the service refused the request (status 500)");
    EXPECT_EQ(tell(404, "<html>"), "the service does not speak this protocol at this address (status 404)");
    EXPECT_LE(tell(400, R"({"error":{"message":")" + std::string(100'000, 'x') + "\"}}").size(), 300u);
}

TEST(HostileServices, AnswersThatAreNoPictures) {
    auto const png = Encode(MakePicture(20, 10));
    std::vector<std::pair<char const*, std::string>> const bodies{
        {"empty", ""},
        {"no JSON", "<html>hello</html>"},
        {"cut JSON", WithPicture(png).substr(0, 60)},
        {"open text", "\"abc\\"},
        {"no data", "{}"},
        {"empty data", R"({"data":[]})"},
        {"null", R"({"data":[null]})"},
        {"numbers", R"({"data":[1,2]})"},
        {"text", R"({"data":"x"})"},
        {"no picture", R"({"data":[{}]})"},
        {"empty picture", R"({"data":[{"b64_json":""}]})"},
        {"bad base64", R"({"data":[{"b64_json":"iVBOR!!!"}]})"},
        {"text for a picture", WithPicture("hello, this is no picture")},
        {"cut PNG", WithPicture(png.substr(0, png.size() / 2))},
        {"a GIF", WithPicture("GIF89a\1\0\1\0\0\0\0;")},
        {"deep", std::string(100'000, '[')},
        {"deep and whole", std::string(70, '[') + std::string(70, ']')},
        {"many values", "{\"data\":[" + std::string(1'000'000, ',') + "]}"},
        {"not UTF-8", "{\"data\":\"\xFF\xFE\"}"},
    };
    for (auto const& [name, body] : bodies)
        EXPECT_EQ(AskServerThat(200, body).code, RemoteInference::BadAnswer) << name;
    // Types are not believed, and sizes are the service's own.
    EXPECT_EQ(AskServerThat(200, WithPicture(png), "text/plain").code, 0);
    EXPECT_EQ(AskServerThat(200, WithPicture(Encode(MakePicture(1, 1)))).code, 0);
}

// A chunk of a PNG file with its checksum (ISO/IEC 15948, section 5.3).
std::string MakeChunk(std::string const& content) {
    std::uint32_t sum = 0xFFFFFFFFu;
    for (char const byte : content) {
        sum ^= static_cast<unsigned char>(byte);
        for (int i = 0; i != 8; ++i)
            sum = sum >> 1 ^ (sum & 1 ? 0xEDB88320u : 0);
    }
    auto const number = [](std::uint32_t value) {
        return std::string{static_cast<char>(value >> 24), static_cast<char>(value >> 16),
                           static_cast<char>(value >> 8), static_cast<char>(value)};
    };
    return number(static_cast<std::uint32_t>(content.size() - 4)) + content + number(~sum);
}

TEST(HostileServices, DecompressionBombsAndAnimations) {
    auto const png = Encode(MakePicture(20, 10));
    constexpr std::size_t c_header = 8 + 25;
    auto const claim = [&](std::string const& size) {
        auto bomb = png;
        return bomb.replace(8, 25, MakeChunk("IHDR" + size + std::string("\x08\x02\0\0\0", 5)));
    };
    // 60000 x 60000 in a file that cannot hold as much, and 20000 x 20000 in one that could.
    auto const vast = claim(std::string("\0\0\xEA\x60\0\0\xEA\x60", 8));
    EXPECT_EQ(AskServerThat(200, WithPicture(vast)).code, RemoteInference::BadAnswer);
    auto const large = claim(std::string("\0\0\x4E\x20\0\0\x4E\x20", 8)) + std::string(2 << 20, '\0');
    auto const refused = AskServerThat(200, WithPicture(large));
    EXPECT_EQ(refused.code, RemoteInference::TooLarge) << refused.detail.view();
    // 8192 x 8192 of nearly nothing is within the limits of pixels, and ends too early.
    auto const hollow = claim(std::string("\0\0\x20\0\0\0\x20\0", 8)) + std::string(2 << 20, '\0');
    EXPECT_EQ(AskServerThat(200, WithPicture(hollow)).code, RemoteInference::BadAnswer);
    auto animated = png;
    animated.insert(c_header, MakeChunk(std::string("acTL\0\0\0\2\0\0\0\0", 12)));
    EXPECT_EQ(AskServerThat(200, WithPicture(animated)).code, RemoteInference::BadAnswer);
}

TEST(HostileServices, EndlessAnswersEndAtTheLimit) {
    RawServer const host([](int connection, std::atomic<bool> const& ends) {
        RawServer::Write(connection, "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n\r\n{\"data\":[\"");
        std::string const block(1 << 20, 'A');
        for (int i = 0; i != 1024 && !ends && RawServer::Write(connection, block); ++i) {
        }
    });
    auto options = OptionsFor(host.GetUrl());
    options.maximumAnswer = 16 << 20;
    auto const peak = [] {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_maxrss;
    };
    auto const before = peak();
    EXPECT_EQ(Generate(options, Ask("fox")).code, RemoteInference::TooLarge);
    EXPECT_LT(peak() - before, 128 << 10);
}

TEST(HostileServices, HugeLengthsAndHeadersAreRefusedAtOnce) {
    RawServer const host([](int connection, std::atomic<bool> const&) {
        RawServer::Write(connection, "HTTP/1.1 200 OK\r\nContent-Length: 99999999999999\r\n\r\n{");
    });
    EXPECT_EQ(Generate(OptionsFor(host.GetUrl()), Ask("fox")).code, RemoteInference::TooLarge);
    RawServer const talker([](int connection, std::atomic<bool> const& ends) {
        RawServer::Write(connection, "HTTP/1.1 200 OK\r\n");
        while (!ends && RawServer::Write(connection, "X-More: " + std::string(1000, 'x') + "\r\n")) {
        }
    });
    auto const result = Generate(OptionsFor(talker.GetUrl()), Ask("fox"));
    EXPECT_TRUE(result.code == RemoteInference::TooLarge || result.code == RemoteInference::BadAnswer) << result.code;
}

TEST(HostileServices, BrokenConnections) {
    for (char const* const text :
         {"", "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n{\"data\"", "HTTP/1.1 200",
          "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\nabc",
          "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nab", "hello", "SSH-2.0-x\r\n"}) {
        RawServer const host([text](int connection, std::atomic<bool> const&) { RawServer::Write(connection, text); });
        auto const result = Generate(OptionsFor(host.GetUrl()), Ask("fox"));
        EXPECT_TRUE(result.code == RemoteInference::Unreachable || result.code == RemoteInference::BadAnswer)
            << text << ": " << result.code << " " << result.detail.view();
    }
}

void Wait(std::atomic<bool> const& ends) {
    while (!ends)
        std::this_thread::sleep_for(5ms);
}

TEST(HostileServices, SilenceEndsAfterItsTime) {
    RawServer const host([](int, std::atomic<bool> const& ends) { Wait(ends); });
    auto options = OptionsFor(host.GetUrl());
    options.silentTime = 300ms;
    auto const begin = Clock::now();
    auto const result = Generate(options, Ask("fox"));
    EXPECT_EQ(result.code, RemoteInference::TimedOut);
    EXPECT_NE(result.detail.view().find("nothing came for 0.3 seconds"), std::string_view::npos)
        << result.detail.view();
    EXPECT_LT(Clock::now() - begin, 3s);
}

TEST(HostileServices, AByteNowAndThenEndsAfterTheWholeTime) {
    RawServer const host([](int connection, std::atomic<bool> const& ends) {
        RawServer::Write(connection, "HTTP/1.1 200 OK\r\n\r\n");
        while (!ends && RawServer::Write(connection, " "))
            std::this_thread::sleep_for(20ms);
    });
    auto options = OptionsFor(host.GetUrl());
    options.silentTime = 60s;
    options.totalTime = 500ms;
    auto const begin = Clock::now();
    EXPECT_EQ(Generate(options, Ask("fox")).code, RemoteInference::TimedOut);
    EXPECT_LT(Clock::now() - begin, 3s);
}

TEST(HostileServices, CancelEndsACallSoon) {
    RawServer const host([](int connection, std::atomic<bool> const& ends) {
        RawServer::Write(connection, "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n{\"data\"");
        Wait(ends);
    });
    Canceller canceller(200ms);
    auto const result = Generate(OptionsFor(host.GetUrl()), Ask("fox"));
    EXPECT_LT(canceller.Finish(), 300ms);
    EXPECT_EQ(result.code, RemoteInference::Cancelled);
}

TEST(HostileServices, RedirectsGoNowhereElse) {
    HttpServer host, other;
    std::string target;
    std::atomic<int> othersCalls{0}, calls{0};
    std::string repeated;
    host.server.Post(c_path, [&](httplib::Request const&, httplib::Response& response) {
        ++calls;
        response.status = 307;
        response.set_header("Location", target);
    });
    host.server.Post("/there", [&](httplib::Request const& request, httplib::Response& response) {
        repeated = request.body + request.get_header_value("Authorization");
        response.set_content(WithPicture(Encode(MakePicture(8, 8))), "application/json");
    });
    other.server.Post(".*", [&](httplib::Request const&, httplib::Response&) { ++othersCalls; });
    other.server.Get(".*", [&](httplib::Request const&, httplib::Response&) { ++othersCalls; });
    host.Start();
    other.Start();
    auto options = OptionsFor(host.GetUrl());
    options.token = "secret-1234";
    target = "/there";
    EXPECT_EQ(Generate(options, Ask("fox")).code, 0);
    EXPECT_NE(repeated.find("\"fox\""), std::string::npos);
    EXPECT_NE(repeated.find("secret-1234"), std::string::npos);
    for (auto const& elsewhere :
         {other.GetUrl() + "/there", "http://localhost:" + std::to_string(host.port) + "/there",
          "https://127.0.0.1:" + std::to_string(host.port) + "/there",
          "http://x:y@127.0.0.1:" + std::to_string(host.port) + "/there", std::string("file:///etc/passwd")}) {
        target = elsewhere;
        EXPECT_EQ(Generate(options, Ask("fox")).code, RemoteInference::BadAnswer) << target;
    }
    EXPECT_EQ(othersCalls, 0);
    calls = 0;
    target = c_path;
    EXPECT_EQ(Generate(options, Ask("fox")).code, RemoteInference::BadAnswer);
    EXPECT_EQ(calls, 4);
}

TEST(HostileServices, LargeAndOddPromptsArriveWhole) {
    HttpServer host;
    std::string seen;
    host.server.Post(c_path, [&](httplib::Request const& request, httplib::Response& response) {
        seen = Json::parse(request.body)["prompt"];
        response.set_content(WithPicture(Encode(MakePicture(8, 8))), "application/json");
    });
    host.Start();
    std::string prompt = "fox \x01\x1b\x7f\"\\ \xFF\xC3";
    while (prompt.size() < (1 << 20))
        prompt += "\n\t\xC3\xA4 fox";
    EXPECT_EQ(Generate(OptionsFor(host.GetUrl()), Ask(prompt)).code, 0);
    EXPECT_EQ(seen, Kernel::String(prompt).ToStdString());
}

TEST(HostileServices, ConnectionsAreKeptAndSharedByThreads) {
    HttpServer host;
    std::mutex mutex;
    std::set<int> ports;
    host.server.Post(c_path, [&](httplib::Request const& request, httplib::Response& response) {
        std::lock_guard const lock(mutex);
        ports.insert(request.remote_port);
        response.set_content(WithPicture(Encode(MakePicture(8, 8))), "application/json");
    });
    host.Start();
    auto const generator = MakeServiceGenerator(OptionsFor(host.GetUrl()));
    auto const ask = [&] {
        ImageGenerator::Answer answer;
        EXPECT_EQ(Generate(*generator, Ask("fox"), answer).code, 0);
    };
    ask();
    ask();
    EXPECT_EQ(ports.size(), 1u);
    std::vector<std::thread> threads;
    for (int i = 0; i != 4; ++i)
        threads.emplace_back(ask);
    for (auto& thread : threads)
        thread.join();
}

TEST(HostileServices, CertificatesAreVerified) {
    auto const folder = testing::TempDir() + "learning-certificates";
    ASSERT_EQ(std::system(("mkdir -p " + folder + " && openssl req -x509 -newkey rsa:2048 -nodes -days 2 -keyout " +
                           folder + "/key.pem -out " + folder +
                           "/cert.pem -subj /CN=127.0.0.1 -addext subjectAltName=IP:127.0.0.1 2>/dev/null")
                              .c_str()),
              0);
    LoopbackServer<httplib::SSLServer> host((folder + "/cert.pem").c_str(), (folder + "/key.pem").c_str());
    host.server.Post(c_path, [&](httplib::Request const&, httplib::Response& response) {
        response.set_content(WithPicture(Encode(MakePicture(8, 8))), "application/json");
    });
    host.Start();
    auto options = OptionsFor(host.GetUrl("https"));
    auto const refused = Generate(options, Ask("fox"));
    EXPECT_EQ(refused.code, RemoteInference::Unreachable);
    EXPECT_NE(refused.detail.view().find("its certificate is not trusted"), std::string_view::npos)
        << refused.detail.view();
    options.certificates = folder + "/cert.pem";
    EXPECT_EQ(Generate(options, Ask("fox")).code, 0);
    std::filesystem::remove_all(folder);
    options.certificates = folder + "/missing.pem";
    EXPECT_EQ(Generate(options, Ask("fox")).code, RemoteInference::Unreachable);
}

} // namespace
} // namespace Learning
