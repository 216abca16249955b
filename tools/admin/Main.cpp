// tarnwick-admin: the calendars of the mail server for the people who run it.
#include <exception>

#include "tools/admin/Commands.h"
#include "tools/admin/Console.h"
#include "tools/admin/Failure.h"

namespace tarnwick::admin {
namespace {

void RegisterCommands(CLI::App& app, Context& context) {
    // Paths may begin with a slash.
    app.allow_windows_style_options(false);
    app.require_subcommand(1);
    app.set_version_flag("--version", TARNWICK_VERSION);
    app.add_flag("--json", context.json, "Answers as JSON, for programs");
    app.add_option("--host", context.host,
                   "Lets this server carry out the calls (hosts list shows those there are)");
    app.footer(
        "Exit status: 0 done, 1 refused or not found, 2 wrong usage, 4 an event was left out of an "
        "import; the reason is on standard error.\nEach command has its own --help with examples.");
    for (const auto registerFamily :
         {RegisterEntryChanges, RegisterEntryQueries, RegisterTransfers, RegisterItems,
          RegisterOverviews, RegisterHosts, RegisterContacts}) {
        registerFamily(app, context);
    }
}

// "tarnwick-admin item put": as far as the command line was understood.
std::string CommandPath(const CLI::App& app) {
    const auto chosen = app.get_subcommands();
    if (chosen.empty()) return app.get_name();
    return app.get_name() + " " + CommandPath(*chosen.front());
}

ExitStatus ExplainUsage(const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {  // the help or the version was asked for
        app.exit(error);
        return ExitStatus::Done;
    }
    const std::vector<std::string> unknown = app.remaining(true);
    const bool noCommand = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
    const std::string problem = noCommand && !unknown.empty()
                                    ? "\"" + unknown.front() + "\" is not known here"
                                    : std::string(error.what());
    Note(problem + "; see " + CommandPath(app) + " --help");
    return ExitStatus::WrongUsage;
}

ExitStatus Run(int count, char** arguments) {
    Context context;
    CLI::App app("Looks after the calendars of mailboxes.", "tarnwick-admin");
    RegisterCommands(app, context);
    try {
        if (!IsCommandLineWhole()) {
            throw WrongUsage("the command line holds a character that the system code page lacks");
        }
        app.parse(count, arguments);
        return ExitStatus::Done;
    } catch (const CLI::ParseError& error) {
        return ExplainUsage(app, error);
    } catch (const Failure& failure) {
        Note(failure.what());
        return failure.Status();
    } catch (const std::exception& error) {
        Note(error.what());
        return ExitStatus::Refused;
    }
}

}  // namespace
}  // namespace tarnwick::admin

int main(int count, char** arguments) {
    tarnwick::admin::UseBinaryStreams();
    return static_cast<int>(tarnwick::admin::Run(count, arguments));
}
