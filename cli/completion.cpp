#include "cli/completion.h"

#include <algorithm>
#include <vector>

namespace kez::cli {
namespace {

// --- What there is to complete ------------------------------------------------------------------------------

enum class Offer { Nothing, Words, Folders, Files };

struct Argument {
    std::vector<std::string> names;  // "--quiet", "-q"; of a positional one its name in the help
    std::string does;
    Offer offer = Offer::Nothing;
    std::vector<std::string> words;
    bool takesValue = true;
    bool repeats = false;
};

struct Command {
    std::string name;  // "sync", "packet dump"; "" for the program itself
    std::string does;
    std::vector<Argument> options;
    std::vector<Argument> positionals;
    std::vector<std::string> subcommands;
};

std::vector<std::string> Split(const std::string& text, char at) {
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == at) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

// Names of types in capitals are for people, those in small letters are the words themselves.
void SetOffer(Argument& argument, const std::string& typeName, const std::string& name) {
    const bool isWords = typeName.find('|') != std::string::npos &&
                         std::none_of(typeName.begin(), typeName.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
    if (isWords) {
        argument.offer = Offer::Words;
        argument.words = Split(typeName, '|');
    } else if (name.find("FILE") != std::string::npos) {
        argument.offer = Offer::Files;
    } else if (name == "FOLDER" || name == "DEVICE") {
        argument.offer = Offer::Folders;
    }
}

Argument ArgumentOf(const CLI::Option& option) {
    Argument argument;
    argument.does = option.get_description();
    argument.takesValue = option.get_items_expected_max() != 0;
    argument.repeats = option.get_items_expected_max() > 1;
    const std::string typeName = argument.takesValue ? option.get_type_name() : std::string();
    if (option.nonpositional()) {
        for (const std::string& name : option.get_lnames()) argument.names.push_back("--" + name);
        for (const std::string& name : option.get_snames()) argument.names.push_back("-" + name);
        SetOffer(argument, typeName, typeName);
    } else {
        argument.names.push_back(option.get_name());
        SetOffer(argument, typeName, option.get_name());
    }
    return argument;
}

void Collect(const CLI::App& app, const std::string& name, std::vector<Command>& commands) {
    Command command{name, app.get_description(), {}, {}, {}};
    for (const CLI::Option* option : app.get_options()) {
        (option->nonpositional() ? command.options : command.positionals).push_back(ArgumentOf(*option));
    }
    const auto subcommands = app.get_subcommands([](const CLI::App*) { return true; });
    for (const CLI::App* sub : subcommands) command.subcommands.push_back(sub->get_name());
    commands.push_back(std::move(command));
    for (const CLI::App* sub : subcommands) {
        Collect(*sub, name.empty() ? sub->get_name() : name + " " + sub->get_name(), commands);
    }
}

// --- Scripts ------------------------------------------------------------------------------------------------

std::string Joined(const std::vector<std::string>& words, const char* between = " ") {
    std::string joined;
    for (const std::string& word : words) joined += (joined.empty() ? "" : between) + word;
    return joined;
}

std::string OptionNames(const Command& command) {
    std::vector<std::string> names;
    for (const Argument& option : command.options) names.insert(names.end(), option.names.begin(), option.names.end());
    return Joined(names);
}

// What bash is to offer for an argument, as an assignment.
std::string BashOffer(const Argument& argument) {
    switch (argument.offer) {
        case Offer::Words:
            return "words='" + Joined(argument.words) + "'";
        case Offer::Folders:
            return "paths=-d";
        case Offer::Files:
            return "paths=-f";
        case Offer::Nothing:
            break;
    }
    return ":";
}

std::string BashScript(const std::vector<Command>& commands) {
    const Command& program = commands.front();
    std::vector<std::string> taking;
    std::string values;
    std::string arguments;
    for (const Command& command : commands) {
        for (const Argument& option : command.options) {
            if (!option.takesValue) continue;
            for (const std::string& name : option.names) {
                if (std::find(taking.begin(), taking.end(), name) == taking.end()) taking.push_back(name);
                const std::string where =
                    command.name.empty() ? "*' " + name + "'" : "'" + command.name + " " + name + "'";
                values += "        " + where + ") " + BashOffer(option) + " ;;\n";
            }
        }
        if (command.name.empty()) continue;
        arguments += "        '" + command.name + "')\n";
        arguments += "            options='" + OptionNames(command) + "'\n";
        if (!command.subcommands.empty()) {
            arguments += "            words='" + Joined(command.subcommands) + "'\n";
        } else if (!command.positionals.empty()) {
            arguments += "            case $argument in\n";
            for (std::size_t i = 0; i < command.positionals.size(); ++i) {
                const Argument& positional = command.positionals[i];
                const std::string which = positional.repeats ? "*" : std::to_string(i);
                arguments += "                " + which + ") " + BashOffer(positional) + " ;;\n";
            }
            arguments += "            esac\n";
        }
        arguments += "            ;;\n";
    }
    std::vector<std::string> groups;
    for (const Command& command : commands) {
        if (!command.name.empty() && !command.subcommands.empty()) groups.push_back(command.name);
    }
    return "# Completion of kezsync for bash.\n"
           "_kezsync() {\n"
           "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}\n"
           "    local command= argument=0 options= words= paths= i\n"
           "    COMPREPLY=()\n"
           "    # \"--color=auto\" comes as three words.\n"
           "    if [ \"$word\" = = ]; then\n"
           "        word=\n"
           "    elif [ \"$before\" = = ]; then\n"
           "        before=${COMP_WORDS[COMP_CWORD - 2]}\n"
           "    fi\n"
           "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
           "        case ${COMP_WORDS[i]} in\n"
           "            " +
           Joined(taking, " | ") +
           ")\n"
           "                [ \"${COMP_WORDS[i + 1]}\" = = ] && ((i++))\n"
           "                ((i++)) ;;\n"
           "            -* | =) ;;\n"
           "            *)\n"
           "                case $command in\n"
           "                    '') command=${COMP_WORDS[i]} ;;\n"
           "                    " +
           Joined(groups, " | ") +
           ") command=\"$command ${COMP_WORDS[i]}\" ;;\n"
           "                    *) ((argument++)) ;;\n"
           "                esac ;;\n"
           "        esac\n"
           "    done\n"
           "    case \"$command $before\" in\n" +
           values +
           "        *) before= ;;\n"
           "    esac\n"
           "    [ -n \"$before\" ] || case $command in\n"
           "        '') words='" +
           Joined(program.subcommands) + "' ;;\n" + arguments +
           "    esac\n"
           "    if [ -z \"$before\" ] && [[ $word == -* ]]; then\n"
           "        mapfile -t COMPREPLY < <(compgen -W \"$options " +
           OptionNames(program) +
           "\" -- \"$word\")\n"
           "    elif [ -n \"$words\" ]; then\n"
           "        mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")\n"
           "    elif [ -n \"$paths\" ]; then\n"
           "        compopt -o filenames 2>/dev/null\n"
           "        mapfile -t COMPREPLY < <(compgen $paths -- \"$word\")\n"
           "    fi\n"
           "}\n"
           "complete -F _kezsync kezsync\n";
}

// Inside single quotes of a shell.
std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

// A description inside a specification of zsh's _arguments, or of a value of _describe.
std::string ZshText(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == ':' || c == '[' || c == ']' || c == '\\') escaped += '\\';
        escaped += c;
    }
    return escaped;
}

std::string ZshOffer(const Argument& argument) {
    switch (argument.offer) {
        case Offer::Words:
            return "(" + Joined(argument.words) + ")";
        case Offer::Folders:
            return "_files -/";
        case Offer::Files:
            return "_files";
        case Offer::Nothing:
            break;
    }
    return " ";
}

std::string ZshOption(const Argument& option) {
    std::string spec;
    for (const std::string& name : option.names) {
        const bool isLong = name.starts_with("--");
        spec += " " + Quoted(name + (option.takesValue && isLong ? "=" : "") + "[" + ZshText(option.does) + "]" +
                             (option.takesValue ? ":value:" + ZshOffer(option) : std::string()));
    }
    return spec;
}

std::string ZshCommand(const Command& command, std::size_t depth) {
    std::string spec = "_arguments $common";
    for (const Argument& option : command.options) spec += " \\\n                " + ZshOption(option).substr(1);
    for (std::size_t i = 0; i < command.positionals.size(); ++i) {
        const Argument& positional = command.positionals[i];
        spec += " \\\n                " + Quoted((positional.repeats ? "*" : std::to_string(depth + i)) + ":" +
                                                 ZshText(positional.names[0]) + ":" + ZshOffer(positional));
    }
    return spec;
}

std::string ZshScript(const std::vector<Command>& commands) {
    const Command& program = commands.front();
    auto find = [&](const std::string& name) {
        return *std::find_if(commands.begin(), commands.end(), [&](const Command& c) { return c.name == name; });
    };
    std::string script =
        "#compdef kezsync\n"
        "# Completion of kezsync for zsh.\n"
        "_kezsync() {\n"
        "    local state\n"
        "    local -a common commands\n"
        "    common=(\n";
    for (const Argument& option : program.options) script += "       " + ZshOption(option) + "\n";
    script += "    )\n    commands=(\n";
    for (const std::string& name : program.subcommands) {
        script += "        " + Quoted(name + ":" + ZshText(find(name).does)) + "\n";
    }
    script +=
        "    )\n"
        "    _arguments -C $common '1: :->command' '*:: :->argument'\n"
        "    case $state in\n"
        "    command) _describe command commands ;;\n"
        "    argument)\n"
        "        case $words[1] in\n";
    for (const std::string& name : program.subcommands) {
        const Command& command = find(name);
        script += "        " + name + ")\n";
        if (command.subcommands.empty()) {
            script += "            " + ZshCommand(command, 1) + " ;;\n";
            continue;
        }
        script += "            case $words[2] in\n";
        for (const std::string& sub : command.subcommands) {
            script += "            " + sub + ")\n            " + ZshCommand(find(name + " " + sub), 2) + " ;;\n";
        }
        script +=
            "            *) _arguments $common '1: :(" + Joined(command.subcommands) + ")' ;;\n            esac ;;\n";
    }
    return script +
           "        esac ;;\n"
           "    esac\n"
           "}\n"
           "if [ \"$funcstack[1]\" = _kezsync ]; then\n"
           "    _kezsync \"$@\"\n"
           "else\n"
           "    compdef _kezsync kezsync\n"
           "fi\n";
}

std::string FishOffer(const Argument& argument) {
    switch (argument.offer) {
        case Offer::Words:
            return " -x -a " + Quoted(Joined(argument.words));
        case Offer::Folders:
            return " -x -a '(__fish_complete_directories)'";
        case Offer::Files:
            return " -r -F";
        case Offer::Nothing:
            break;
    }
    return " -x";
}

std::string FishScript(const std::vector<Command>& commands) {
    std::string script =
        "# Completion of kezsync for fish.\n"
        "complete -c kezsync -f\n";
    for (const Command& command : commands) {
        const std::vector<std::string> path = Split(command.name, ' ');
        std::string when;
        if (!command.name.empty()) {
            for (const std::string& word : path) {
                when += (when.empty() ? "" : "; and ") + ("__fish_seen_subcommand_from " + word);
            }
        }
        for (const Argument& option : command.options) {
            script += "complete -c kezsync";
            if (!when.empty()) script += " -n " + Quoted(when);
            for (const std::string& name : option.names) {
                script += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
            }
            script += (option.takesValue ? FishOffer(option) : "") + " -d " + Quoted(option.does) + "\n";
        }
        const std::string notYet = command.name.empty()
                                       ? "__fish_use_subcommand"
                                       : when + "; and not __fish_seen_subcommand_from " + Joined(command.subcommands);
        for (const std::string& sub : command.subcommands) {
            const std::string name = command.name.empty() ? sub : command.name + " " + sub;
            const auto found =
                std::find_if(commands.begin(), commands.end(), [&](const Command& c) { return c.name == name; });
            script += "complete -c kezsync -n " + Quoted(notYet) + " -a " + sub + " -d " + Quoted(found->does) + "\n";
        }
        for (const Argument& positional : command.positionals) {
            if (positional.offer == Offer::Nothing) continue;
            const bool files = positional.offer == Offer::Files;
            script += "complete -c kezsync -n " + Quoted(when) + (files ? " -F" : FishOffer(positional)) + "\n";
        }
    }
    return script;
}

}  // namespace

std::string CompletionScript(const CLI::App& app, const std::string& shell) {
    std::vector<Command> commands;
    Collect(app, "", commands);
    if (shell == "bash") return BashScript(commands);
    return shell == "zsh" ? ZshScript(commands) : FishScript(commands);
}

}  // namespace kez::cli
