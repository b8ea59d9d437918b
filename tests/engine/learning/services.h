// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/learning/back_ends.h"
#include "platform/raster/bitmap_image.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <httplib.h>
#include <memory>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace Learning {

// A server of the test on the loopback, which ends with its test.
template <class Server>
class LoopbackServer {
public:
    template <class... Arguments>
    explicit LoopbackServer(Arguments&&... arguments) : server(std::forward<Arguments>(arguments)...) {}
    ~LoopbackServer() {
        server.stop();
        if (m_thread.joinable())
            m_thread.join();
    }
    void Start() {
        port = server.bind_to_any_port("127.0.0.1");
        m_thread = std::thread([this] { server.listen_after_bind(); });
        while (!server.is_running())
            std::this_thread::yield();
    }
    std::string GetUrl(std::string const& scheme = "http") const {
        return scheme + "://127.0.0.1:" + std::to_string(port);
    }

    Server server;
    int port = 0;

private:
    std::thread m_thread;
};

// A server that answers as no server of a library would: it gets the connection when the head of a request was read.
class RawServer {
public:
    using Handler = std::function<void(int connection, std::atomic<bool> const& ends)>;

    explicit RawServer(Handler handler) : m_handler(std::move(handler)) {
        m_socket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (bind(m_socket, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(m_socket, 8) != 0 ||
            getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &length) != 0)
            std::abort();
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { Serve(); });
    }
    ~RawServer() {
        m_ends = true;
        shutdown(m_socket, SHUT_RDWR);
        m_thread.join();
        close(m_socket);
    }
    std::string GetUrl() const { return "http://127.0.0.1:" + std::to_string(m_port); }

    static bool Write(int connection, std::string_view text) {
        while (!text.empty()) {
            auto const put = send(connection, text.data(), text.size(), MSG_NOSIGNAL);
            if (put <= 0)
                return false;
            text.remove_prefix(static_cast<std::size_t>(put));
        }
        return true;
    }

private:
    void Serve() {
        for (;;) {
            int const connection = accept4(m_socket, nullptr, nullptr, SOCK_CLOEXEC);
            if (connection < 0)
                return;
            std::string head;
            char byte = 0;
            while (!head.ends_with("\r\n\r\n") && recv(connection, &byte, 1, 0) == 1)
                head.push_back(byte);
            m_handler(connection, m_ends);
            close(connection);
        }
    }

    Handler m_handler;
    int m_socket = -1;
    int m_port = 0;
    std::atomic<bool> m_ends{false};
    std::thread m_thread;
};

// Each pixel tells its place and the picture's number.
inline Kernel::Counted<Raster::BufferRGBA8> MakePicture(int width, int height, int number = 0) {
    Kernel::Counted<Raster::BufferRGBA8> picture(new Raster::BufferRGBA8(width, height));
    for (int y = 0; y != height; ++y) {
        for (int x = 0; x != width; ++x) {
            int const values[] = {x * 255 / width, y * 255 / height, number * 20, 255};
            for (int channel = 0; channel != 4; ++channel)
                picture->GetRow(channel, y)[x] = static_cast<std::uint8_t>(values[channel]);
        }
    }
    return picture;
}

inline std::string Encode(Kernel::Counted<Raster::BufferRGBA8> const& picture, bool withAlpha = false) {
    Raster::ImageInfo info;
    info.width = static_cast<std::uint32_t>(picture->GetWidth());
    info.height = static_cast<std::uint32_t>(picture->GetHeight());
    info.hasAlpha = withAlpha;
    std::string file;
    Raster::EncodePng(
        info,
        [&](std::uint32_t y, std::span<std::byte> row) {
            std::size_t at = 0;
            for (int x = 0; x != picture->GetWidth(); ++x) {
                for (int channel = 0; channel != (withAlpha ? 4 : 3); ++channel)
                    row[at++] = static_cast<std::byte>(picture->GetRow(channel, static_cast<int>(y))[x]);
            }
        },
        [&](std::span<std::byte const> bytes) {
            file.append(reinterpret_cast<char const*>(bytes.data()), bytes.size());
        });
    return file;
}

inline bool ShowsPicture(Raster::DynamicBitmap const& bitmap, Raster::BufferRGBA8 const& picture) {
    if (bitmap.GetFormat() != Raster::FormatRGBA8 || bitmap.GetSize() != picture.GetSize())
        return false;
    for (int y = 0; y != picture.GetHeight(); ++y) {
        for (int x = 0; x != picture.GetWidth(); ++x) {
            if (!(bitmap.GetBase()->GetPixel(x, y) == picture.GetPixel(x, y)))
                return false;
        }
    }
    return true;
}

inline ImageGenerator::Request Ask(std::string const& prompt, int count = 1) {
    ImageGenerator::Request request;
    request.prompt = Kernel::String(prompt);
    request.count = count;
    return request;
}

inline ServiceOptions OptionsFor(std::string const& url, Protocol protocol = Protocol::OpenAI) {
    ServiceOptions options;
    options.url = url;
    options.protocol = protocol;
    return options;
}

inline RemoteInference::Result Generate(ImageGenerator& generator, ImageGenerator::Request const& request,
                                        ImageGenerator::Answer& answer) {
    answer = {request.prompt, {}};
    return generator.Generate(request, answer, InferenceCall(nullptr, nullptr));
}

inline RemoteInference::Result Generate(ServiceOptions const& options, ImageGenerator::Request const& request) {
    ImageGenerator::Answer answer;
    auto const result = Generate(*MakeServiceGenerator(options), request, answer);
    if (result.code != 0 && result.detail.view().find_first_of("\n\r\t\x1b") != std::string_view::npos)
        return {-1, "the detail is not one line"};
    return result;
}

// Cancels after a time, and tells for how long the call went on then.
class Canceller {
public:
    explicit Canceller(std::chrono::milliseconds after)
        : m_thread([this, after] {
              std::this_thread::sleep_for(after);
              m_time = std::chrono::steady_clock::now();
              RemoteInference::Cancel();
          }) {}
    ~Canceller() { Finish(); }
    std::chrono::milliseconds Finish() {
        auto const end = std::chrono::steady_clock::now();
        if (m_thread.joinable())
            m_thread.join();
        RemoteInference::ResetCancel();
        return std::chrono::duration_cast<std::chrono::milliseconds>(end - m_time);
    }

private:
    std::chrono::steady_clock::time_point m_time;
    std::thread m_thread;
};

} // namespace Learning
