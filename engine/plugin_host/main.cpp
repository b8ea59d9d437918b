// SPDX-License-Identifier: Apache-2.0
// Runs one frei0r plug-in for the engine: redraft-plugin-host PLUGIN MEMORY. Requests come in through a socket and are
// answered there. Foreign code may do here what it likes: the engine ends this process when it has waited long enough.

#include "engine/kernel/host_socket.h"
#include "engine/plugin_host/confine.h"
#include "engine/raster/plugin_protocol.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <memory>
#include <unistd.h>
#include <vector>

namespace {

using namespace Raster::PluginProtocol;
using HostSocket::ReadAll, HostSocket::WriteAll;

// The plug-in's interface, frei0r 1.x, as its specification gives it.
struct PluginInfo {
    char const* name;
    char const* author;
    int type;
    int colourModel;
    int frei0rVersion;
    int majorVersion;
    int minorVersion;
    int parameterCount;
    char const* explanation;
};
struct ParameterInfo {
    char const* name;
    int type;
    char const* explanation;
};
using InitFunction = int();
using InfoFunction = void(PluginInfo*);
using ParameterInfoFunction = void(ParameterInfo*, int index);
using SetFunction = void(void* instance, void* value, int index);
using ConstructFunction = void*(unsigned width, unsigned height);
using DestructFunction = void(void* instance);
using UpdateFunction = void(void* instance, double time, std::uint32_t const* in, std::uint32_t* out);

class Plugin {
public:
    explicit Plugin(char const* path) {
        void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr)
            return;
        auto const find = [library](char const* name) { return dlsym(library, name); };
        auto* const init = reinterpret_cast<InitFunction*>(find("f0r_init"));
        auto* const info = reinterpret_cast<InfoFunction*>(find("f0r_get_plugin_info"));
        m_parameterInfo = reinterpret_cast<ParameterInfoFunction*>(find("f0r_get_param_info"));
        m_set = reinterpret_cast<SetFunction*>(find("f0r_set_param_value"));
        m_construct = reinterpret_cast<ConstructFunction*>(find("f0r_construct"));
        m_destruct = reinterpret_cast<DestructFunction*>(find("f0r_destruct"));
        m_update = reinterpret_cast<UpdateFunction*>(find("f0r_update"));
        if (init == nullptr || info == nullptr || m_construct == nullptr || m_destruct == nullptr ||
            m_update == nullptr)
            return;
        init();
        info(&m_info);
        m_isLoaded = true;
    }
    bool IsLoaded() const { return m_isLoaded; }
    PluginInfo const& GetInfo() const { return m_info; }

    // As many as it says, within reason.
    std::vector<Parameter> GetParameters() const {
        std::vector<Parameter> parameters;
        if (m_parameterInfo == nullptr || m_set == nullptr)
            return parameters;
        for (int i = 0; i < std::min(m_info.parameterCount, int(c_maximumParameters)); ++i) {
            ParameterInfo info{};
            m_parameterInfo(&info, i);
            Parameter parameter{static_cast<ParameterType>(info.type), {}};
            if (info.name != nullptr)
                std::strncpy(parameter.name, info.name, sizeof parameter.name - 1);
            parameters.push_back(parameter);
        }
        return parameters;
    }

    void Set(Setting const& setting) {
        m_settings.push_back(setting);
        Destruct();
    }

    // An instance is for one size of picture.
    bool Filter(std::uint32_t width, std::uint32_t height, std::uint32_t const* in, std::uint32_t* out) {
        if (width != m_width || height != m_height)
            Destruct();
        if (m_instance == nullptr) {
            m_instance = m_construct(width, height);
            m_width = width;
            m_height = height;
            if (m_instance == nullptr)
                return false;
            for (auto& setting : m_settings)
                Apply(setting);
        }
        m_update(m_instance, 0.0, in, out);
        return true;
    }

private:
    void Destruct() {
        if (m_instance != nullptr)
            m_destruct(m_instance);
        m_instance = nullptr;
    }

    void Apply(Setting& setting) {
        if (m_set == nullptr)
            return;
        float colour[3];
        char* text = setting.text;
        void* value = setting.numbers;
        if (setting.type == ParameterType::Colour) {
            std::copy_n(setting.numbers, 3, colour);
            value = colour;
        } else if (setting.type == ParameterType::Text) {
            value = &text;
        }
        m_set(m_instance, value, setting.index);
    }

    PluginInfo m_info{};
    ParameterInfoFunction* m_parameterInfo = nullptr;
    SetFunction* m_set = nullptr;
    ConstructFunction* m_construct = nullptr;
    DestructFunction* m_destruct = nullptr;
    UpdateFunction* m_update = nullptr;
    bool m_isLoaded = false;
    std::vector<Setting> m_settings;
    void* m_instance = nullptr;
    std::uint32_t m_width = 0, m_height = 0;
};

struct Free {
    void operator()(void* block) const { std::free(block); }
};
using Pixels = std::unique_ptr<std::uint32_t, Free>;

// Plug-ins may use instructions that need whole vectors.
Pixels Allocate(std::size_t count) {
    return Pixels(static_cast<std::uint32_t*>(std::aligned_alloc(64, (count * 4 + 63) / 64 * 64)));
}

bool AnswerFilter(Plugin& plugin, Request const& request) {
    if (request.width == 0 || request.height == 0 || request.width > c_maximumPluginSide ||
        request.height > c_maximumPluginSide || std::uint64_t(request.width) * request.height > c_maximumPixels)
        return false;
    auto const count = static_cast<std::size_t>(request.width) * request.height;
    Pixels const in = Allocate(count), out = Allocate(count);
    if (!in || !out || !ReadAll(in.get(), count * 4))
        return false;
    std::memset(out.get(), 0, count * 4);
    Response response{c_magic, Status::Failed, 0, 0, 0, {}};
    if (plugin.IsLoaded() && plugin.Filter(request.width, request.height, in.get(), out.get()))
        response.status = Status::Done;
    return WriteAll(&response, sizeof response) && (response.status != Status::Done || WriteAll(out.get(), count * 4));
}

bool AnswerDescribe(Plugin const& plugin) {
    Response response{c_magic, Status::CannotLoad, 0, 0, 0, {}};
    std::vector<Parameter> parameters;
    if (plugin.IsLoaded()) {
        parameters = plugin.GetParameters();
        response.status = Status::Done;
        response.type = plugin.GetInfo().type;
        response.colourModel = plugin.GetInfo().colourModel;
        response.parameterCount = static_cast<std::int32_t>(parameters.size());
        if (plugin.GetInfo().name != nullptr)
            std::strncpy(response.name, plugin.GetInfo().name, sizeof response.name - 1);
    }
    return WriteAll(&response, sizeof response) && WriteAll(parameters.data(), parameters.size() * sizeof(Parameter));
}

bool TakeSetting(Plugin& plugin) {
    Setting setting{};
    if (!ReadAll(&setting, sizeof setting))
        return false;
    setting.text[sizeof setting.text - 1] = 0;
    plugin.Set(setting);
    return true;
}

bool Answer(Plugin& plugin, Request const& request) {
    switch (request.kind) {
    case Kind::Describe:
        return AnswerDescribe(plugin);
    case Kind::Filter:
        return AnswerFilter(plugin, request);
    case Kind::Set:
        return TakeSetting(plugin);
    }
    return false;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3)
        return 2;
    Confine(std::strtoull(arguments[2], nullptr, 10));
    Plugin plugin(arguments[1]);
    Request request;
    while (ReadAll(&request, sizeof request)) {
        if (request.magic != c_magic)
            return 3;
        if (!Answer(plugin, request))
            return 4;
    }
    // The plug-in's own end is not waited for.
    _exit(0);
}
