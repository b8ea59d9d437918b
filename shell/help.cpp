// SPDX-License-Identifier: Apache-2.0
#include "shell/help.h"

#include "shell/command_table.h"
#include "shell/verbs.h"

namespace Shell {

namespace {

constexpr std::size_t c_verbWidth = 12;

constexpr char const* c_statuses =
    "0 done, 1 nothing to do, 2 wrong usage, 3 bad input, 4 output not written, 130 interrupted.";

// Hyphens that are typed, and lines that troff would take for its own.
std::string EscapeTroff(std::string_view text) {
    std::string escaped;
    for (char const c : text) {
        if (c == '-')
            escaped += "\\-";
        else if (c == '\\')
            escaped += "\\e";
        else if ((c == '.' || c == '\'') && (escaped.empty() || escaped.back() == '\n'))
            escaped += std::string("\\&") + c;
        else
            escaped += c;
    }
    return escaped;
}

std::string FormatTroffOption(OptionSpec const& option) {
    std::string text = ".TP\n\\fB" + EscapeTroff(option.name) + "\\fR";
    if (!option.value.empty())
        text += " \\fI" + EscapeTroff(option.value) + "\\fR";
    return text + "\n" + EscapeTroff(option.help) + "\n";
}

} // namespace

std::string FormatProgramHelp() {
    std::string text = "redraft edits documents that carry their own undo history.\n\n";
    for (auto const& verb : GetVerbs()) {
        if (!verb.isAdvertised)
            continue;
        std::string name(verb.usage.verb);
        name.resize(c_verbWidth, ' ');
        text += "  " + name + std::string(GetFirstLine(verb.usage.summary)) + "\n";
    }
    text += "\n`redraft help VERB` tells how a verb is called, `redraft commands` what `do` runs. Every verb takes "
            "--json.\n"
            "Status: " +
            std::string(c_statuses) + "\n";
    return text;
}

std::string FormatManPage() {
    std::string text = ".TH REDRAFT 1 \"\" \"redraft " REDRAFT_VERSION "\"\n"
                       ".SH NAME\nredraft \\- edits documents that carry their own undo history\n"
                       ".SH SYNOPSIS\n.B redraft\n.I VERB\n[\\fIargument\\fR]...\n.SH VERBS\n";
    for (auto const& verb : GetVerbs()) {
        if (!verb.isAdvertised)
            continue;
        text += ".SS \"" + std::string(verb.usage.verb) + "\"\n.B " + EscapeTroff(FormatUsage(verb.usage)) +
                "\n.PP\n.nf\n" + EscapeTroff(verb.usage.summary) + "\n.fi\n";
        for (auto const& option : GetAllOptions(verb.usage))
            text += FormatTroffOption(option);
    }
    text += ".SH COMMANDS\nThe commands of \\fBredraft do\\fR, with their parameters and, in brackets, the defaults of "
            "those that may be left out.\n";
    for (auto const& entry : GetCommandTable()) {
        for (auto const& form : entry.forms) {
            text += ".TP\n\\fB" + EscapeTroff(entry.shortName) + "\\fR\n";
            std::string lines;
            for (auto const& parameter : form.parameters) {
                lines += std::string(parameter.name) + " (" + std::string(parameter.type) +
                         (parameter.defaultValue ? ", [" + *parameter.defaultValue + "]" : "") +
                         "): " + std::string(parameter.help) + "\n.br\n";
            }
            text += lines.empty() ? "takes no parameters\n" : EscapeTroff(lines.substr(0, lines.size() - 5)) + "\n";
        }
    }
    return text + ".SH EXIT STATUS\n" + EscapeTroff(c_statuses) + "\n";
}

} // namespace Shell
