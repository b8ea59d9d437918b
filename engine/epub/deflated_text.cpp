// SPDX-License-Identifier: Apache-2.0
#include "engine/epub/deflated_text.h"

#include "engine/epub/zip_archive.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <limits>
#include <mutex>
#include <new>
#include <thread>
#include <zlib.h>

namespace EPub {

namespace {

// A writer that is far ahead waits: the pieces take no more memory than this, about.
constexpr std::size_t c_mostWaiting = 64;
constexpr int c_windowOfRawStream = -MAX_WBITS;

} // namespace

class DeflatedText::Worker {
public:
    Worker() {
        if (deflateInit2(&m_stream, ZipArchive::c_level, Z_DEFLATED, c_windowOfRawStream, MAX_MEM_LEVEL,
                         Z_DEFAULT_STRATEGY) != Z_OK)
            throw Kernel::Exception("the text cannot be compressed: not enough memory");
        if (Kernel::Dispatch::GetThreadCount() > 1)
            m_thread = std::jthread([this] { Run(); });
    }
    ~Worker() {
        {
            std::lock_guard const lock(m_mutex);
            m_isEnded = true;
            m_waiting.clear();
        }
        Join();
        deflateEnd(&m_stream);
    }

    void Append(std::string piece) {
        if (!m_thread.joinable()) {
            Compress(piece, Z_NO_FLUSH);
            return;
        }
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_waiting.size() < c_mostWaiting; });
        m_waiting.push_back(std::move(piece));
        m_changed.notify_all();
    }

    Result Finish() {
        {
            std::lock_guard const lock(m_mutex);
            m_isEnded = true;
        }
        Join();
        Compress({}, Z_FINISH);
        if (m_hasFailed)
            throw Kernel::Exception("the text cannot be compressed: not enough memory");
        return std::move(m_result);
    }

private:
    void Join() {
        m_changed.notify_all();
        if (m_thread.joinable())
            m_thread.join();
    }

    void Run() {
        for (;;) {
            std::string piece;
            {
                std::unique_lock lock(m_mutex);
                m_changed.wait(lock, [&] { return m_isEnded || !m_waiting.empty(); });
                if (m_waiting.empty())
                    return;
                piece = std::move(m_waiting.front());
                m_waiting.pop_front();
            }
            m_changed.notify_all();
            Compress(piece, Z_NO_FLUSH);
        }
    }

    // One thread at a time: the worker until it is joined, if there is one. A failure is told at the end.
    void Compress(std::string_view text, int flush) {
        if (m_hasFailed)
            return;
        try {
            m_result.length += text.size();
            while (!text.empty()) {
                auto const size = std::min<std::size_t>(text.size(), std::numeric_limits<uInt>::max());
                Deflate(text.substr(0, size), Z_NO_FLUSH);
                text.remove_prefix(size);
            }
            if (flush == Z_FINISH)
                Deflate({}, Z_FINISH);
        } catch (std::bad_alloc const&) {
            m_hasFailed = true;
        }
    }

    void Deflate(std::string_view text, int flush) {
        // zlib gives the beginning's value for nothing at all.
        if (!text.empty())
            m_result.crc = static_cast<std::uint32_t>(
                crc32(m_result.crc, reinterpret_cast<Bytef const*>(text.data()), static_cast<uInt>(text.size())));
        // zlib reads from here only.
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
        m_stream.avail_in = static_cast<uInt>(text.size());
        do {
            m_stream.next_out = m_buffer;
            m_stream.avail_out = sizeof m_buffer;
            if (deflate(&m_stream, flush) == Z_STREAM_ERROR)
                throw std::bad_alloc();
            auto const* const begin = reinterpret_cast<std::byte const*>(m_buffer);
            m_result.bytes.insert(m_result.bytes.end(), begin, begin + (sizeof m_buffer - m_stream.avail_out));
        } while (m_stream.avail_out == 0);
    }

    z_stream m_stream = {};
    Bytef m_buffer[1 << 14];
    Result m_result;
    bool m_hasFailed = false;
    std::mutex m_mutex;
    // The pieces that wait, or the end.
    std::condition_variable m_changed;
    std::deque<std::string> m_waiting;
    bool m_isEnded = false;
    std::jthread m_thread;
};

DeflatedText::DeflatedText() : m_worker(std::make_unique<Worker>()) {}
DeflatedText::~DeflatedText() = default;
void DeflatedText::Append(std::string piece) { m_worker->Append(std::move(piece)); }
DeflatedText::Result DeflatedText::Finish() { return m_worker->Finish(); }

} // namespace EPub
