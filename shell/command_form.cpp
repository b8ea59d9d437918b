// SPDX-License-Identifier: Apache-2.0
#include "shell/command_form.h"

#include "platform/geometry/path_data.h"
#include "platform/kernel/cast.h"
#include "platform/raster/bitmap_image.h"
#include "shell/failure.h"
#include "shell/input_files.h"
#include "shell/selector.h"

#include <algorithm>

namespace Shell {

namespace {

constexpr std::uint64_t c_maximumTextBytes = std::uint64_t{64} << 20;

} // namespace

std::string ReadTextValue(std::string const& text) {
    if (text.starts_with("@@"))
        return text.substr(1);
    if (!text.starts_with('@'))
        return text;
    auto const path = text.substr(1);
    auto const bytes = InputFiles::Read(path, c_maximumTextBytes);
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

Kernel::String ValueForm<Kernel::String>::Parse(std::string const& text, ValueContext const&) {
    auto const value = ReadTextValue(text);
    if (!Kernel::IsValidUtf8(value))
        throw ValueError("needs text in UTF-8");
    return Kernel::String(value);
}

Kernel::Counted<Renderer::FillDescriptor const>
ValueForm<Kernel::Counted<Renderer::FillDescriptor const>>::Parse(std::string const& text, ValueContext const&) {
    if (text == "none")
        return {};
    return Kernel::MakeCounted<Renderer::FillDescriptor const>(ParseColour(text));
}

Kernel::Counted<Raster::DynamicBitmap> ValueForm<Kernel::Counted<Raster::DynamicBitmap>>::Parse(std::string const& path,
                                                                                                ValueContext const&) {
    return Guarded(ExitStatus::Input, path, [&] {
        Raster::BitmapReceiver receiver;
        Raster::DecodeImage(InputFiles::Read(path, c_maximumPictureBytes), receiver);
        return receiver.Finish();
    });
}

Kernel::Counted<Raster::RasterFilterPlugin>
ValueForm<Kernel::Counted<Raster::RasterFilterPlugin>>::Parse(std::string const& name, ValueContext const&) {
    auto const colon = name.find(':');
    std::vector<Raster::FilterPluginSetting> settings;
    if (colon != name.npos) {
        for (auto const& term : SplitTerms(std::string_view(name).substr(colon + 1))) {
            auto const equals = term.find('=');
            if (equals == term.npos)
                throw ValueError("needs NAME:PARAMETER=VALUE,..., not " + Quote(term) + " for a parameter");
            settings.push_back({Kernel::String(std::string(Trim(std::string_view(term).substr(0, equals)))),
                                Kernel::String(std::string(Trim(std::string_view(term).substr(equals + 1))))});
        }
    }
    try {
        return Raster::FindFilterPlugin(Kernel::String(name.substr(0, colon)), settings);
    } catch (Kernel::Exception const& failure) {
        throw ValueError(failure.what());
    }
}

Kernel::Counted<Geometry::CurveDbl> ValueForm<Kernel::Counted<Geometry::CurveDbl>>::Parse(std::string const& text,
                                                                                          ValueContext const&) {
    auto const data = Geometry::ReadPathData(ReadTextValue(text));
    if (data.error) {
        throw ValueError("needs SVG path data: " + data.error->message + " at byte " +
                         std::to_string(data.error->offset));
    }
    auto const& curves = data.curves->GetCurves();
    if (curves.size() != 1 || curves.front()->GetSegmentCount() == 0)
        throw ValueError("needs SVG path data of one contour, not " + Quote(text));
    return curves.front();
}

SymbolReference ValueForm<SymbolReference>::Parse(std::string const& text, ValueContext const& context) {
    return {FindSymbol(context.document, text)};
}

SpreadIndex ValueForm<SpreadIndex>::Parse(std::string const& text, ValueContext const& context) {
    auto const count = static_cast<std::int64_t>(context.document.GetDocument()->GetSpreads().size());
    return {static_cast<int>(ParseInteger(text, 0, count - 1))};
}

std::size_t ParseEnumName(std::string_view text, std::span<std::string_view const> names) {
    auto const found = std::find(names.begin(), names.end(), text);
    if (found != names.end())
        return static_cast<std::size_t>(found - names.begin());
    std::string message = "needs one of";
    for (auto const name : names)
        message += " " + std::string(name);
    throw ValueError(message + ", not " + Quote(text));
}

std::string MakeShortName(std::string_view className) {
    constexpr std::string_view c_command = "Command";
    if (className.ends_with(c_command) && className.size() > c_command.size())
        className.remove_suffix(c_command.size());
    auto const isUpper = [&](std::size_t i) {
        return i < className.size() && className[i] >= 'A' && className[i] <= 'Z';
    };
    auto const isLower = [&](std::size_t i) {
        return i < className.size() && className[i] >= 'a' && className[i] <= 'z';
    };
    std::string name;
    for (std::size_t i = 0; i != className.size(); ++i) {
        // A row of capitals is one word, but for its last letter where a new word begins there: RemoveBGCommand.
        if (isUpper(i) && i != 0 && (!isUpper(i - 1) || isLower(i + 1)))
            name += '-';
        name += isUpper(i) ? static_cast<char>(className[i] - 'A' + 'a') : className[i];
    }
    return name;
}

void Detail::ThrowForParameter(std::string_view name, std::exception const& error) {
    throw Failure(ExitStatus::Usage, std::string(name), error.what());
}

CommandForm const& CommandEntry::ChooseForm(NamedValues const& values) const {
    auto const has = [](CommandForm const& form, std::string_view name) {
        return std::any_of(form.parameters.begin(), form.parameters.end(),
                           [&](ParameterInfo const& parameter) { return parameter.name == name; });
    };
    auto const takesAll = [&](CommandForm const& form) {
        return std::all_of(values.begin(), values.end(), [&](auto const& value) { return has(form, value.first); });
    };
    auto const findMissing = [&](CommandForm const& form) {
        return std::find_if(form.parameters.begin(), form.parameters.end(), [&](ParameterInfo const& parameter) {
            return !parameter.defaultValue && !values.contains(parameter.name);
        });
    };
    CommandForm const* closest = nullptr;
    for (auto const& form : forms) {
        if (!takesAll(form))
            continue;
        if (findMissing(form) == form.parameters.end())
            return form;
        closest = closest == nullptr ? &form : closest;
    }
    auto const fail = [this](std::string const& problem) {
        throw Failure(ExitStatus::Usage, className, problem + "; `redraft commands " + shortName + "` tells its form");
    };
    for (auto const& [name, value] : values) {
        if (std::none_of(forms.begin(), forms.end(), [&](CommandForm const& form) { return has(form, name); }))
            fail("no parameter " + Quote(name));
    }
    if (closest == nullptr)
        fail("these parameters do not go together");
    fail("parameter " + Quote(findMissing(*closest)->name) + " is missing");
    return forms.front();
}

bool HasLayers(Kernel::Counted<Selection const> selection) {
    auto const nodes = selection->GetNodes();
    return std::any_of(nodes.begin(), nodes.end(), [](Kernel::Counted<Node> const& node) {
        return Kernel::CastPointer<MutableRasterInterface>(node.get()) != nullptr;
    });
}

} // namespace Shell
