// SPDX-License-Identifier: Apache-2.0
// How long does a request for a picture take beside the service's own time? A server on the loopback answers at once
// with a picture of noise in base64. In the same run: libcurl by hand with the same request over a connection that is
// kept, curl's own command, and the decoding of the picture alone, which the engine's calls hold and curl's do not.
#include "engine/learning/service_text.h"
#include "platform/learning/back_ends.h"
#include "platform/raster/bitmap_image.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <curl/curl.h>
#include <httplib.h>
#include <map>
#include <random>
#include <thread>

namespace {

std::string MakePng(int side) {
    Raster::ImageInfo info;
    info.width = info.height = static_cast<std::uint32_t>(side);
    std::string file;
    // Waves with a little noise, which are about as long as a photograph.
    std::mt19937 random(3);
    Raster::EncodePng(
        info,
        [&](std::uint32_t y, std::span<std::byte> row) {
            for (std::size_t i = 0; i != row.size(); ++i)
                row[i] = static_cast<std::byte>((i / 3 + y) / 8 % 200 + random() % 8);
        },
        [&](std::span<std::byte const> bytes) {
            file.append(reinterpret_cast<char const*>(bytes.data()), bytes.size());
        });
    return file;
}

// The server and its answers, by the side that the request names.
class Service {
public:
    static Service& Get() {
        static Service s_service;
        return s_service;
    }
    std::string GetUrl() const { return "http://127.0.0.1:" + std::to_string(m_port); }
    std::string const& GetPicture(int side) { return m_pictures[side]; }
    static std::string MakeBody(int side) {
        auto const size = std::to_string(side) + "x" + std::to_string(side);
        return R"({"n":1,"prompt":"fox","size":")" + size + R"(","response_format":"b64_json"})";
    }

private:
    Service() {
        for (int const side : {64, 1024}) {
            m_pictures[side] = MakePng(side);
            m_answers[std::to_string(side)] =
                R"({"data":[{"b64_json":")" + Learning::EncodeBase64(m_pictures[side]) + "\"}]}";
        }
        // Small answers are not to wait for the acknowledgement of their heads.
        m_server.set_tcp_nodelay(true);
        m_server.Post("/v1/images/generations", [this](httplib::Request const& request, httplib::Response& response) {
            bool const isLarge = request.body.find("\"1024x1024\"") != std::string::npos;
            response.set_content(m_answers[isLarge ? "1024" : "64"], "application/json");
        });
        m_server.set_keep_alive_max_count(1'000'000);
        m_port = m_server.bind_to_any_port("127.0.0.1");
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
    }
    ~Service() {
        m_server.stop();
        m_thread.join();
    }

    httplib::Server m_server;
    int m_port = 0;
    std::map<int, std::string> m_pictures;
    std::map<std::string, std::string> m_answers;
    std::thread m_thread;
};

void Engine(benchmark::State& state) {
    Learning::ServiceOptions options;
    options.url = Service::Get().GetUrl();
    auto const generator = Learning::MakeServiceGenerator(options);
    Learning::ImageGenerator::Request request;
    request.prompt = "fox";
    request.model.side = static_cast<std::uint32_t>(state.range(0));
    for (auto _ : state) {
        Learning::ImageGenerator::Answer answer;
        auto const result = generator->Generate(request, answer, Learning::InferenceCall(nullptr, nullptr));
        if (result.code != 0)
            return state.SkipWithError(result.detail.c_str());
    }
}

std::size_t Append(char* bytes, std::size_t size, std::size_t count, void* text) {
    static_cast<std::string*>(text)->append(bytes, size * count);
    return size * count;
}

void CurlByHand(benchmark::State& state) {
    CURL* const curl = curl_easy_init();
    auto const url = Service::Get().GetUrl() + "/v1/images/generations";
    auto const body = Service::MakeBody(static_cast<int>(state.range(0)));
    auto* const headers = curl_slist_append(nullptr, "Content-Type: application/json");
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Append);
    for (auto _ : state) {
        std::string answer;
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer);
        if (curl_easy_perform(curl) != CURLE_OK)
            return state.SkipWithError("curl failed");
        benchmark::DoNotOptimize(answer);
    }
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
}

void CurlCommand(benchmark::State& state) {
    auto const command = "curl -s -o /dev/null -H 'Content-Type: application/json' -d '" +
                         Service::MakeBody(static_cast<int>(state.range(0))) + "' " + Service::Get().GetUrl() +
                         "/v1/images/generations";
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0)
            return state.SkipWithError("curl failed");
    }
}

void DecodingAlone(benchmark::State& state) {
    auto const& picture = Service::Get().GetPicture(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        Raster::BitmapReceiver receiver;
        Raster::DecodeImage(std::as_bytes(std::span(picture)), receiver);
        benchmark::DoNotOptimize(receiver.Finish());
    }
}

} // namespace

BENCHMARK(Engine)->Arg(64)->Arg(1024)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(CurlByHand)->Arg(64)->Arg(1024)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(CurlCommand)->Arg(64)->Arg(1024)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(DecodingAlone)->Arg(64)->Arg(1024)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_MAIN();
