// tarnwick-admin: the calendars of the mail server for the people who run it.
#include <CLI/CLI.hpp>
#include <exception>
#include <memory>
#include <sstream>

#include "tools/admin/Commands.h"
#include "tools/admin/Console.h"

namespace tarnwick::admin {
namespace {

constexpr const char* kFooter =
    "Exit status: 0 done, nothing found wrong; 1 refused or not found; 2 wrong usage; 3 problems\n"
    "found; 4 partly done; 5 busy, another program holds the lock; 6 not allowed; 7 server not\n"
    "reached. The reason is on standard error.\n"
    "Each command has its own --help with examples.";

// The help of a command names the options that the tool has for all of them.
class CommandHelpFormatter : public CLI::Formatter {
  public:
    std::string make_footer(const CLI::App* app) const override {
        const std::string footer = CLI::Formatter::make_footer(app);
        if (app->get_parent() == nullptr) return footer;
        return footer +
               "Of all commands: --json, --host NAME, --root DIR (tarnwick-admin --help)\n";
    }
};

// "item put": the subcommands, as far as the command line was understood.
std::string CommandPath(const CLI::App& app) {
    const auto chosen = app.get_subcommands();
    if (chosen.empty()) return {};
    const std::string rest = CommandPath(*chosen.front());
    return chosen.front()->get_name() + (rest.empty() ? "" : " ") + rest;
}

void RegisterCommands(CLI::App& app, Context& context) {
    app.formatter(std::make_shared<CommandHelpFormatter>());
    // Paths may begin with a slash.
    app.allow_windows_style_options(false);
    app.require_subcommand(1);
    app.set_version_flag("--version", TARNWICK_VERSION);
    app.add_flag("--json", context.json, "Answers as JSON lines, for programs");
    CLI::Option* host =
        app.add_option("--host", context.host,
                       "Lets this server carry out the calls (hosts list shows those there are)");
    app.add_option("--root", context.root,
                   "Works on this folder of postoffices, a copy for one, not on the registry's")
        ->check([](const std::string& folder) { return folder.empty() ? "is empty" : ""; })
        ->excludes(host);
    app.footer(kFooter);
    app.parse_complete_callback([&app, &context] { context.command = CommandPath(app); });
    for (const auto registerFamily :
         {RegisterEntryChanges, RegisterEntryQueries, RegisterTransfers, RegisterItems,
          RegisterOverviews, RegisterHosts, RegisterContacts, RegisterStoreCare, RegisterIndexFiles,
          RegisterActivity, RegisterNotify, RegisterMessages, RegisterDump, RegisterDoctor,
          RegisterReport, RegisterWithLock, RegisterSnapshot, RegisterRestore,
          RegisterDescriptions}) {
        registerFamily(Command(&app), context);
    }
}

ExitStatus ExplainUsage(const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {  // the help or the version was asked for
        std::ostringstream text;
        app.exit(error, text, text);
        Print(text.str());
        return ExitStatus::Done;
    }
    const std::vector<std::string> unknown = app.remaining(true);
    const bool noCommand = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
    const std::string problem = noCommand && !unknown.empty()
                                    ? "\"" + unknown.front() + "\" is not known here"
                                    : std::string(error.what());
    const std::string command = CommandPath(app);
    Note(problem + "; see " + app.get_name() + (command.empty() ? "" : " ") + command + " --help");
    return ExitStatus::WrongUsage;
}

int Run(int count, char** arguments) {
    Context context;
    CLI::App app("Looks after the calendars of mailboxes and the files of the store.",
                 "tarnwick-admin");
    RegisterCommands(app, context);
    try {
        if (!IsCommandLineWhole()) {
            throw WrongUsage("the command line holds a character that the system code page lacks");
        }
        app.parse(count, arguments);
        return context.programStatus;
    } catch (const CLI::ParseError& error) {
        return static_cast<int>(ExplainUsage(app, error));
    } catch (const Failure& failure) {
        Note(failure.what());
        return static_cast<int>(failure.Status());
    } catch (const std::exception& error) {
        Note(error.what());
        return static_cast<int>(ExitStatus::Refused);
    }
}

}  // namespace
}  // namespace tarnwick::admin

int main(int count, char** arguments) {
    tarnwick::admin::TakeStandardStreams();
    return tarnwick::admin::Run(count, arguments);
}
