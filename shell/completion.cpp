// SPDX-License-Identifier: Apache-2.0
#include "shell/command_table.h"
#include "shell/help.h"
#include "shell/verbs.h"

#include <functional>
#include <set>

namespace Shell {

namespace {

std::string Join(std::vector<std::string> const& words) {
    std::string text;
    for (auto const& word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

std::vector<std::string> ListVerbs() {
    std::vector<std::string> names;
    for (auto const& verb : GetVerbs())
        if (verb.isAdvertised)
            names.emplace_back(verb.usage.verb);
    return names;
}

std::vector<std::string> ListOptions(Verb const& verb) {
    std::vector<std::string> names;
    for (auto const& option : GetAllOptions(verb.usage))
        names.emplace_back(option.name);
    return names;
}

// Names of commands that can be made from text.
std::vector<std::string> ListShortNames() {
    std::vector<std::string> names;
    for (auto const& entry : GetCommandTable())
        if (!entry.forms.empty())
            names.push_back(entry.shortName);
    return names;
}

// "name=" for each parameter of any form, each once.
std::vector<std::string> ListParameters(CommandEntry const& entry) {
    std::vector<std::string> names;
    std::set<std::string_view> met;
    for (auto const& form : entry.forms)
        for (auto const& parameter : form.parameters)
            if (met.insert(parameter.name).second)
                names.push_back(std::string(parameter.name) + "=");
    return names;
}

// One line of a shell's case for each verb with its options, and each command with its parameters.
std::string FormatCases(std::function<std::vector<std::string>(Verb const&)> const& ofVerb) {
    std::string text;
    for (auto const& verb : GetVerbs())
        if (verb.isAdvertised)
            text += "    " + std::string(verb.usage.verb) + ") options='" + Join(ofVerb(verb)) + "' ;;\n";
    return text;
}
std::string FormatParameterCases() {
    std::string text;
    for (auto const& entry : GetCommandTable())
        if (!entry.forms.empty())
            text += "        " + entry.shortName + ") names='" + Join(ListParameters(entry)) + "' ;;\n";
    return text;
}

// Bash and zsh have the same words in other wrappings. The document is the word behind the verb, and a file.
std::string FormatBash() {
    return "# Completion of redraft for bash: source it, or put it into the folder bash-completion/completions of\n"
           "# $XDG_DATA_HOME as the file redraft.\n"
           "_redraft() {\n"
           "    local word=${COMP_WORDS[COMP_CWORD]} options='' names=''\n"
           "    if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
           "        COMPREPLY=($(compgen -W '" +
           Join(ListVerbs()) +
           "' -- \"$word\"))\n"
           "        return\n"
           "    fi\n"
           "    case ${COMP_WORDS[1]} in\n" +
           FormatCases(ListOptions) +
           "    esac\n"
           "    case ${COMP_WORDS[1]}:$COMP_CWORD in\n"
           "    do:2 | do:1) ;;\n"
           "    do:3 | commands:2) names='" +
           Join(ListShortNames()) +
           "' ;;\n"
           "    do:*)\n"
           "        case ${COMP_WORDS[3]} in\n" +
           FormatParameterCases() +
           "        esac\n"
           "        ;;\n"
           "    help:2) names='" +
           Join(ListVerbs()) +
           "' ;;\n"
           "    esac\n"
           "    case $word in\n"
           "    -*) names=$options ;;\n"
           "    esac\n"
           "    COMPREPLY=($(compgen -W \"$names\" -- \"$word\"))\n"
           "    case ${COMPREPLY[0]-} in\n"
           "    *=) compopt -o nospace ;;\n"
           "    esac\n"
           "}\n"
           "complete -o default -F _redraft redraft\n";
}

std::string FormatZsh() {
    return "#compdef redraft\n"
           "# Completion of redraft for zsh: put it into a folder of $fpath as the file _redraft.\n"
           "_redraft() {\n"
           "    local options= names=\n"
           "    if (( CURRENT == 2 )); then\n"
           "        compadd -- " +
           Join(ListVerbs()) +
           "\n"
           "        return\n"
           "    fi\n"
           "    case ${words[2]} in\n" +
           FormatCases(ListOptions) +
           "    esac\n"
           "    if [[ ${words[CURRENT]} == -* ]]; then\n"
           "        compadd -- ${=options}\n"
           "        return\n"
           "    fi\n"
           "    case ${words[2]}:$CURRENT in\n"
           "    do:3) ;;\n"
           "    do:4 | commands:3) compadd -- " +
           Join(ListShortNames()) +
           "; return ;;\n"
           "    do:*)\n"
           "        case ${words[4]} in\n" +
           FormatParameterCases() +
           "        esac\n"
           "        compadd -S '' -- ${=names}\n"
           "        ;;\n"
           "    help:3) compadd -- " +
           Join(ListVerbs()) +
           "; return ;;\n"
           "    esac\n"
           "    _files\n"
           "}\n"
           "_redraft \"$@\"\n";
}

// Within single quotes of fish.
std::string QuoteFish(std::string_view text) {
    std::string quoted = "'";
    for (char const c : text) {
        if (c == '\'' || c == '\\')
            quoted += '\\';
        quoted += c;
    }
    return quoted + "'";
}

std::string FormatFishOption(std::string_view verb, OptionSpec const& option) {
    bool const isLong = option.name.starts_with("--");
    return "complete -c redraft -n '__fish_seen_subcommand_from " + std::string(verb) + "' " +
           (isLong ? "-l " : "-s ") + std::string(option.name.substr(isLong ? 2 : 1)) +
           (option.value.empty() ? "" : " -r") + " -d " + QuoteFish(option.help) + "\n";
}

std::string FormatFish() {
    std::string text = "# Completion of redraft for fish: put it into ~/.config/fish/completions as redraft.fish.\n";
    for (auto const& verb : GetVerbs()) {
        if (!verb.isAdvertised)
            continue;
        text += "complete -c redraft -n __fish_use_subcommand -f -a " + std::string(verb.usage.verb) + " -d " +
                QuoteFish(GetFirstLine(verb.usage.summary)) + "\n";
        for (auto const& option : GetAllOptions(verb.usage))
            text += FormatFishOption(verb.usage.verb, option);
    }
    for (auto const& entry : GetCommandTable()) {
        if (entry.forms.empty())
            continue;
        text += "complete -c redraft -n '__fish_seen_subcommand_from do commands' -a " + entry.shortName + "\n";
        for (auto const& form : entry.forms)
            for (auto const& parameter : form.parameters)
                text += "complete -c redraft -n '__fish_seen_subcommand_from " + entry.shortName + "' -a " +
                        std::string(parameter.name) + "= -d " + QuoteFish(parameter.help) + "\n";
    }
    return text;
}

} // namespace

std::string FormatCompletion(std::string const& shell) {
    if (shell == "bash")
        return FormatBash();
    if (shell == "zsh")
        return FormatZsh();
    if (shell == "fish")
        return FormatFish();
    throw Failure(ExitStatus::Usage, "completion", "there is none for " + Quote(shell) + ": bash, zsh or fish");
}

} // namespace Shell
