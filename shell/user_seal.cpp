// SPDX-License-Identifier: Apache-2.0
#include "shell/user_seal.h"

#include "shell/user_folder.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sodium.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace Shell {

namespace {

using Key = std::array<unsigned char, crypto_generichash_KEYBYTES>;

constexpr unsigned char c_sealVersion = 1;
constexpr std::size_t c_countBytes = 8;
constexpr std::size_t c_sealBytes = 1 + c_countBytes + crypto_generichash_BYTES;

// Keeps the key's other uses, should it get any, apart from this one.
constexpr std::string_view c_purpose = "redraft document seal";

bool HasSodium() {
    static bool const s_isReady = sodium_init() >= 0;
    return s_isReady;
}

class Descriptor {
public:
    explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
    ~Descriptor() {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;
    int Get() const { return m_descriptor; }

private:
    int m_descriptor;
};

// A key that others may read or that somebody else has put there is none.
std::optional<Key> ReadKey(std::string const& path) {
    Descriptor const file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (file.Get() < 0 || ::fstat(file.Get(), &status) != 0)
        return std::nullopt;
    Key key;
    bool const isOurs = S_ISREG(status.st_mode) && status.st_uid == ::geteuid() && (status.st_mode & 077) == 0 &&
                        status.st_size == static_cast<off_t>(key.size());
    if (!isOurs || ::read(file.Get(), key.data(), key.size()) != static_cast<ssize_t>(key.size()))
        return std::nullopt;
    return key;
}

bool WriteKey(int descriptor, Key const& key) {
    return ::write(descriptor, key.data(), key.size()) == static_cast<ssize_t>(key.size()) && ::fsync(descriptor) == 0;
}

// The key appears whole and under its name at once; where two programs make one, the second takes the first's.
std::optional<Key> MakeKey(std::string const& path) {
    std::error_code error;
    auto const folder = std::filesystem::path(path).parent_path();
    std::filesystem::create_directories(folder.parent_path(), error);
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        return std::nullopt;
    Key key;
    randombytes_buf(key.data(), key.size());
    auto const draft = path + "-" + std::to_string(::getpid()) + "-" + std::to_string(randombytes_random());
    {
        Descriptor const file(::open(draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (file.Get() < 0)
            return std::nullopt;
        if (WriteKey(file.Get(), key))
            ::link(draft.c_str(), path.c_str());
    }
    ::unlink(draft.c_str());
    return ReadKey(path);
}

using Mac = std::array<unsigned char, crypto_generichash_BYTES>;

Mac ComputeMac(Key const& key, std::span<std::byte const> digest, std::span<std::byte const> count) {
    crypto_generichash_state state;
    Mac mac;
    auto const add = [&](auto const* data, std::size_t size) {
        crypto_generichash_update(&state, reinterpret_cast<unsigned char const*>(data), size);
    };
    crypto_generichash_init(&state, key.data(), key.size(), mac.size());
    add(c_purpose.data(), c_purpose.size());
    add(&c_sealVersion, 1);
    add(count.data(), count.size());
    add(digest.data(), digest.size());
    crypto_generichash_final(&state, mac.data(), mac.size());
    return mac;
}

class UserSeal final : public DocumentSeal {
public:
    std::vector<std::byte> Make(std::span<std::byte const> digest, std::uint64_t untrustedSteps) override {
        auto const path = GetKeyPath();
        if (path.empty() || !HasSodium())
            return {};
        auto key = ReadKey(path);
        if (!key)
            key = MakeKey(path);
        if (!key)
            return {};
        std::vector<std::byte> seal{std::byte{c_sealVersion}};
        for (unsigned i = 0; i != c_countBytes; ++i)
            seal.push_back(static_cast<std::byte>(untrustedSteps >> (8 * i)));
        auto const mac = ComputeMac(*key, digest, std::span(seal).subspan(1));
        for (auto const byte : mac)
            seal.push_back(std::byte{byte});
        return seal;
    }

    std::optional<std::uint64_t> Check(std::span<std::byte const> digest, std::span<std::byte const> seal) override {
        if (seal.size() != c_sealBytes || seal.front() != std::byte{c_sealVersion} || !HasSodium())
            return std::nullopt;
        auto const path = GetKeyPath();
        auto const key = path.empty() ? std::nullopt : ReadKey(path);
        if (!key)
            return std::nullopt;
        auto const count = seal.subspan(1, c_countBytes);
        auto const mac = ComputeMac(*key, digest, count);
        if (sodium_memcmp(mac.data(), seal.data() + 1 + c_countBytes, mac.size()) != 0)
            return std::nullopt;
        std::uint64_t untrustedSteps = 0;
        for (unsigned i = 0; i != c_countBytes; ++i)
            untrustedSteps |= std::to_integer<std::uint64_t>(count[i]) << (8 * i);
        return untrustedSteps;
    }
};

} // namespace

std::shared_ptr<DocumentSeal> MakeUserSeal() { return std::make_shared<UserSeal>(); }

std::string GetKeyPath() {
    auto const data = FindUserFolder("XDG_DATA_HOME", "/.local/share");
    return data.empty() ? data : data + "/redraft/key";
}

} // namespace Shell
