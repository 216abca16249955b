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
    app.footer(
        "Exit status: 0 done, 1 refused or not found, 2 wrong usage; the reason is on standard "
        "error.\nEach command has its own --help with examples.");
    for (const auto registerFamily : {RegisterEntryChanges, RegisterEntryQueries, RegisterTransfers,
                                      RegisterItems, RegisterOverviews}) {
        registerFamily(app, context);
    }
}

ExitStatus Run(int count, char** arguments) {
    Context context;
    CLI::App app("Looks after the calendars of mailboxes.", "tarnwick-admin");
    RegisterCommands(app, context);
    try {
        app.parse(count, arguments);
        return ExitStatus::Done;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? ExitStatus::Done : ExitStatus::WrongUsage;
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
