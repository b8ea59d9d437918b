// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/frei0r_filter.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <set>

namespace Raster {

namespace {

namespace fs = std::filesystem;
using namespace PluginProtocol;

constexpr int c_filterType = 0;

class Frei0rPlugin final : public RasterFilterPlugin {
public:
    explicit Frei0rPlugin(Frei0rDescription description) : m_description(std::move(description)) {}
    Kernel::String GetIdentifier() const override { return Kernel::String(m_description.file.stem().string()); }
    Kernel::String GetName() const override { return Kernel::String(m_description.name); }
    std::unique_ptr<Filter> MakeFilter() const override { return std::make_unique<Frei0rFilter>(m_description); }
    // One process filters one tile after another: plug-ins may keep something from picture to picture.
    bool CanFilterInParallel() const override { return false; }

private:
    Frei0rDescription m_description;
};

std::vector<fs::path> GetFolders() {
    std::vector<fs::path> folders;
    if (char const* const told = std::getenv("FREI0R_PATH")) {
        std::string_view rest = told;
        while (!rest.empty()) {
            auto const end = std::min(rest.find(':'), rest.size());
            if (end != 0)
                folders.emplace_back(rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        return folders;
    }
    if (char const* const home = std::getenv("HOME"))
        folders.push_back(fs::path(home) / ".frei0r-1" / "lib");
    folders.emplace_back("/usr/local/lib/frei0r-1");
    folders.emplace_back("/usr/lib/frei0r-1");
    return folders;
}

// Names are in no stated encoding.
std::string Printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return text;
}

std::string Lower(std::string text) {
    for (char& c : text)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return text;
}

char const* Describe(ParameterType type) {
    switch (type) {
    case ParameterType::Bool:
        return "true or false";
    case ParameterType::Number:
        return "a number";
    case ParameterType::Colour:
        return "a colour, as #rrggbb";
    case ParameterType::Position:
        return "two numbers with a blank between them";
    case ParameterType::Text:
        return "a text of at most 511 bytes";
    }
    return "something unknown";
}

// `count` numbers with blanks between them.
bool ReadNumbers(std::string_view text, double* numbers, int count) {
    for (int i = 0; i != count; ++i) {
        while (text.starts_with(' '))
            text.remove_prefix(1);
        auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), numbers[i]);
        if (error != std::errc() || !std::isfinite(numbers[i]))
            return false;
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        if (i + 1 != count && !text.starts_with(' '))
            return false;
    }
    return text.empty();
}

bool ReadColour(std::string_view text, double* numbers) {
    unsigned value = 0;
    if (text.size() != 7 || text.front() != '#')
        return false;
    auto const [end, error] = std::from_chars(text.data() + 1, text.data() + text.size(), value, 16);
    for (unsigned i = 0; i != 3; ++i)
        numbers[i] = static_cast<double>(value >> (16 - 8 * i) & 255) / 255;
    return error == std::errc() && end == text.data() + text.size();
}

bool ReadValue(std::string const& text, Setting& setting) {
    switch (setting.type) {
    case ParameterType::Bool:
        setting.numbers[0] = text == "true" || text == "1" ? 1 : 0;
        return setting.numbers[0] == 1 || text == "false" || text == "0";
    case ParameterType::Number:
        return ReadNumbers(text, setting.numbers, 1);
    case ParameterType::Colour:
        return ReadColour(text, setting.numbers);
    case ParameterType::Position:
        return ReadNumbers(text, setting.numbers, 2);
    case ParameterType::Text:
        std::strncpy(setting.text, text.c_str(), sizeof setting.text - 1);
        return text.size() < sizeof setting.text;
    }
    return false;
}

Setting MakeSetting(std::string const& plugin, std::vector<Parameter> const& parameters,
                    FilterPluginSetting const& wanted) {
    std::string const name = wanted.name.ToStdString();
    auto const found = std::find_if(parameters.begin(), parameters.end(),
                                    [&](Parameter const& parameter) { return Lower(parameter.name) == Lower(name); });
    if (found == parameters.end()) {
        std::string known;
        for (auto const& parameter : parameters)
            known += (known.empty() ? " has " : ", ") + Printable(parameter.name);
        throw Kernel::Exception("the plug-in \"" + plugin + "\"" + (known.empty() ? " has no parameters" : known) +
                                " and no parameter \"" + Printable(name) + "\"");
    }
    Setting setting{static_cast<std::int32_t>(found - parameters.begin()), found->type, {}, {}};
    if (!ReadValue(wanted.value.ToStdString(), setting))
        throw Kernel::Exception("the plug-in \"" + plugin + "\" needs " + Describe(found->type) + " as " +
                                Printable(found->name));
    return setting;
}

} // namespace

std::vector<Kernel::String> ListFilterPlugins() {
    std::set<std::string> names;
    for (auto const& folder : GetFolders()) {
        std::error_code ignored;
        for (auto const& entry : fs::directory_iterator(folder, ignored)) {
            if (entry.path().extension() == ".so")
                names.insert(entry.path().stem().string());
        }
    }
    return {names.begin(), names.end()};
}

Kernel::Counted<RasterFilterPlugin> FindFilterPlugin(Kernel::String const& name,
                                                     std::vector<FilterPluginSetting> const& settings) {
    std::string const text = name.ToStdString();
    Frei0rDescription description;
    if (!text.empty() && text.find('/') == std::string::npos) {
        for (auto const& folder : GetFolders()) {
            auto const file = folder / (text + ".so");
            std::error_code ignored;
            if (description.file.empty() && fs::is_regular_file(file, ignored))
                description.file = file;
        }
    }
    if (description.file.empty())
        throw Kernel::Exception("no plug-in is called \"" + text + "\"");
    Response response{};
    std::vector<Parameter> parameters;
    auto const limits = GetFilterPluginLimits();
    PluginProcess process(description.file, limits.memoryBytes);
    if (!process.Describe(response, parameters, limits.tileTime) || response.status != Status::Done)
        throw Kernel::Exception("the plug-in \"" + text + "\" cannot be loaded");
    if (response.type != c_filterType)
        throw Kernel::Exception("the plug-in \"" + text + "\" is no filter of one picture");
    description.name = response.name[0] == 0 ? text : Printable(response.name);
    description.colourModel = response.colourModel;
    for (auto const& setting : settings)
        description.settings.push_back(MakeSetting(text, parameters, setting));
    return Kernel::MakeCounted<Frei0rPlugin>(std::move(description));
}

} // namespace Raster
