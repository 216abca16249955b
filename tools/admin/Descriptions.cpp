// completion bash|powershell, manual: made from what the tool knows of its commands, so that they
// say what its help says.
#include <CLI/CLI.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tools/admin/Commands.h"
#include "tools/admin/Console.h"

namespace tarnwick::admin {
namespace {

// A command, or the tool itself with an empty path.
struct Described {
    std::string path;
    const CLI::App* app;
    std::vector<const CLI::Option*> options;  // and arguments
    std::vector<std::string> commands;
};

// The command and those below it. Groups of options are commands without a name.
void Describe(const CLI::App& app, const std::string& path, std::vector<Described>& all) {
    const std::size_t at = all.size();
    all.push_back({path, &app, app.get_options(), {}});
    for (const CLI::App* below : app.get_subcommands({})) {
        if (below->get_name().empty()) {
            for (const CLI::Option* option : below->get_options()) {
                if (!option->check_lname("help")) all[at].options.push_back(option);
            }
            continue;
        }
        all[at].commands.push_back(below->get_name());
        Describe(*below, path.empty() ? below->get_name() : path + " " + below->get_name(), all);
    }
}

std::vector<Described> DescribeAll(const CLI::App& tool) {
    std::vector<Described> all;
    Describe(tool, {}, all);
    return all;
}

std::string Joined(const std::vector<std::string>& words, const char* between) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
    return text;
}

// The long options of the command and, behind any command, of the tool.
std::vector<std::string> OptionNames(const Described& command, const Described& tool) {
    std::vector<std::string> names;
    const auto append = [&names](const CLI::Option* option) {
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    };
    for (const CLI::Option* option : command.options) append(option);
    for (const CLI::Option* option : tool.options) {
        const bool isOwn = option->check_lname("help") || option->check_lname("version");
        if (!command.path.empty() && !isOwn) append(option);
    }
    return names;
}

constexpr const char* kBashHead = R"(# Completion for tarnwick-admin in bash: source this file.
_tarnwick_admin() {
    local command= commands= options= word=${COMP_WORDS[COMP_CWORD]} at
    for ((at = 1; at < COMP_CWORD; ++at)); do
        case "${command:+$command }${COMP_WORDS[at]}" in
)";
constexpr const char* kBashMiddle = R"() command="${command:+$command }${COMP_WORDS[at]}" ;;
        esac
    done
    case "$command" in
)";
// Without a word of its own the shell offers files.
constexpr const char* kBashTail = R"(    esac
    [[ $word == -* ]] && commands=$options
    COMPREPLY=($(compgen -W "$commands" -- "$word"))
}
complete -o default -F _tarnwick_admin tarnwick-admin tarnwick-admin.exe
)";

std::string BashCompletion(const std::vector<Described>& all) {
    std::vector<std::string> paths;
    std::string cases;
    for (const Described& command : all) {
        if (!command.path.empty()) paths.push_back("\"" + command.path + "\"");
        cases += "        \"" + command.path + "\")\n            commands=\"" +
                 Joined(command.commands, " ") + "\"\n            options=\"" +
                 Joined(OptionNames(command, all.front()), " ") + "\" ;;\n";
    }
    return kBashHead + ("            " + Joined(paths, " | ")) + kBashMiddle + cases + kBashTail;
}

constexpr const char* kPowerShellHead =
    R"(# Completion for tarnwick-admin in PowerShell: add this to $PROFILE.
Register-ArgumentCompleter -Native -CommandName tarnwick-admin, tarnwick-admin.exe -ScriptBlock {
    param($word, $line, $position)
    $words = @{
)";
constexpr const char* kPowerShellTail = R"(    }
    $command = ''
    foreach ($element in $line.CommandElements | Select-Object -Skip 1) {
        if ($element.Extent.EndOffset -ge $position) { break }
        $longer = "$command $element".Trim()
        if ($words.ContainsKey($longer)) { $command = $longer }
    }
    $words[$command] | Where-Object { $_ -like "$word*" -and ($word -or $_ -notlike '-*') } |
        ForEach-Object { [System.Management.Automation.CompletionResult]::new($_) }
}
)";

std::string PowerShellCompletion(const std::vector<Described>& all) {
    std::string text = kPowerShellHead;
    for (const Described& command : all) {
        std::vector<std::string> words = command.commands;
        for (const std::string& name : OptionNames(command, all.front())) words.push_back(name);
        text += "        '" + command.path + "' = '" + Joined(words, "', '") + "'\n";
    }
    return text + kPowerShellTail;
}

// A text as a manual's source has it.
std::string Escaped(std::string_view text) {
    std::string escaped;
    for (const char letter : text) {
        const bool isAtStart = escaped.empty() || escaped.back() == '\n';
        if (isAtStart && (letter == '.' || letter == '\'')) escaped += "\\&";
        if (letter == '\\') {
            escaped += "\\e";
        } else {
            escaped += letter == '-' ? "\\-" : std::string(1, letter);
        }
    }
    return escaped;
}

std::string ManualOf(const Described& command) {
    const std::string name = command.path.empty() ? "OPTIONS" : command.path;
    std::string usage;
    std::string options;
    for (const CLI::Option* option : command.options) {
        const bool isArgument = option->get_positional();
        const bool hasValue = !isArgument && option->get_items_expected_max() != 0;
        if (isArgument) usage += " " + option->get_name(true);
        options += ".TP\n\\fB" + Escaped(isArgument ? option->get_name(true) : option->get_name()) +
                   "\\fR" + (hasValue ? " \\fIvalue\\fR" : "") + "\n" +
                   Escaped(option->get_description()) + "\n";
    }
    if (command.path.empty()) return ".SH OPTIONS\n" + options;
    return ".SS " + Escaped(name + usage) + "\n" + Escaped(command.app->get_description()) + ".\n" +
           options + ".PP\n.nf\n" + Escaped(command.app->get_footer()) + ".fi\n";
}

std::string Manual(const std::vector<Described>& all) {
    const CLI::App& tool = *all.front().app;
    std::string text = ".TH TARNWICK\\-ADMIN 1 \"\" \"Tarnwick " TARNWICK_VERSION
                       "\"\n.SH NAME\ntarnwick\\-admin \\- " +
                       Escaped(tool.get_description()) +
                       "\n.SH SYNOPSIS\n\\fBtarnwick\\-admin\\fR [\\fIoptions\\fR] "
                       "\\fIcommand\\fR \\fIpostoffice\\fR/\\fImailbox\\fR ...\n" +
                       ManualOf(all.front()) + ".SH COMMANDS\n";
    for (std::size_t at = 1; at < all.size(); ++at) text += ManualOf(all[at]);
    return text + ".SH EXIT STATUS\n.nf\n" + Escaped(tool.get_footer()) + "\n.fi\n";
}

void AddDescription(const Command& parent, const Command& tool, const char* name,
                    const CommandHelp& help, std::string (*write)(const std::vector<Described>&)) {
    parent.AddCommand(name, help).OnRun([tool, write] {
        Print(write(DescribeAll(tool.Parser())));
    });
}

}  // namespace

void RegisterDescriptions(const Command& app, Context&) {
    const Command completion = app.AddCommand(
        "completion", {"Print what a shell needs to complete commands and options",
                       "See the --help of each.\n", "  tarnwick-admin completion bash --help\n"});
    completion.NeedsCommand();
    AddDescription(completion, app, "bash",
                   {"For bash", "Source it, or put it where bash-completion finds it.\n",
                    "  tarnwick-admin completion bash > tarnwick-admin.bash\n"},
                   BashCompletion);
    AddDescription(completion, app, "powershell",
                   {"For PowerShell", "Add it to the profile.\n",
                    "  tarnwick-admin completion powershell >> profile.ps1\n"},
                   PowerShellCompletion);
    AddDescription(app, app, "manual",
                   {"Print the manual page", "The source of a page for man.\n",
                    "  tarnwick-admin manual > tarnwick-admin.1\n"},
                   Manual);
}

}  // namespace tarnwick::admin
