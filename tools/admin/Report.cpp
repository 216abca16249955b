// report
#include <memory>

#include "common/Clock.h"
#include "common/Files.h"
#include "common/Text.h"
#include "tools/admin/Commands.h"
#include "tools/admin/Console.h"
#include "tools/admin/Json.h"
#include "tools/admin/NewFile.h"
#include "tools/admin/report/StorePage.h"
#include "tools/admin/StoreCare.h"
#include "tools/admin/StorePlaces.h"

namespace tarnwick::admin {
namespace {

constexpr CommandHelp kReportHelp{
    "Write a page that shows the state of the store",

    "One HTML file without scripts that any browser shows and prints: what check finds, each\n"
    "mailbox's year, block files, sizes, and the settings with their problems and risks. Reads\n"
    "only, as check, locks and doctor do. Exit status 3: the page is written and has problems.\n",

    "  tarnwick-admin report store.html\n"
    "  tarnwick-admin report anna.html sales/anna --year 2025\n"
    "  tarnwick-admin report copy.html --root D:\\Copy\n"};

struct ReportOptions {
    std::string file;
    std::string place;
    std::string year;
};

// A name that the store has a use for is no page's.
void RequirePageName(const std::string& file) {
    const std::string_view name = file;
    for (const std::string_view ending : {".html", ".htm"}) {
        if (name.size() > ending.size() &&
            EqualsIgnoreCase(name.substr(name.size() - ending.size()), ending)) {
            return;
        }
    }
    throw WrongUsage("\"" + file + "\" is no name of a page; let it end in .html");
}

std::chrono::year ThisYear() {
    return std::chrono::year_month_day(
               std::chrono::floor<std::chrono::days>(
                   std::chrono::sys_seconds(std::chrono::seconds(CurrentUnixTime()))))
        .year();
}

StoreReport Gather(const ReportOptions& options, const Context& context) {
    StoreReport report;
    report.year = options.year.empty() ? ThisYear() : YearOption(options.year);
    const std::string root = RootOf(context);
    report.folder = FolderOfPlace(options.place, root);
    report.root = context.root;
    report.time = CurrentUnixTime();
    report.findings = CheckStore(report.folder, root, Noted("checked", context));
    CensusTaker taker(root, report.year);
    const auto look = [&](const FolderListing& listing) {
        taker.Take(listing);
        for (BlockState& block : BlocksOf(listing)) report.blocks.push_back(std::move(block));
    };
    WalkFolders(report.folder, look, Noted("counted", context));
    report.census = taker.Counted();
    report.facts = GatherFacts(context.root);
    report.advice = Examine(report.facts);
    return report;
}

void WriteReport(const ReportOptions& options, const Context& context) {
    RequirePageName(options.file);
    RequireWritable(options.file);
    NewFile file(options.file);
    const StoreReport report = Gather(options, context);
    file.Write(StorePage(report));
    file.Keep(true);
    const std::size_t problems = report.findings.size() + report.MachineProblems();
    const std::size_t mailboxes = report.Mailboxes();
    Answer(context).Add({{"file", ToUtf8(FullPath(options.file))},
                         {"findings", report.findings.size()},
                         {"mailboxes", mailboxes},
                         {"locks", report.blocks.size()},
                         {"machineProblems", report.MachineProblems()},
                         {"risks", report.advice.size() - report.MachineProblems()}},
                        "wrote " + options.file + ": " +
                            Counted(mailboxes, "mailbox", "mailboxes") + ", " +
                            Counted(problems, "problem", "problems"));
    if (problems == 0) return;
    throw Failure(ExitStatus::ProblemsFound, Counted(problems, "problem", "problems") + " found; " +
                                                 options.file +
                                                 (problems == 1 ? " shows it" : " shows them"));
}

}  // namespace

void RegisterReport(const Command& app, Context& context) {
    const auto options = std::make_shared<ReportOptions>();
    const Command command = app.AddCommand("report", kReportHelp);
    command.AddOption("file", options->file, "The page, which is replaced; its name ends in .html")
        .Required();
    command.AddOption("place", options->place,
                      "A postoffice, postoffice/mailbox or folder; left out: the mail root");
    command.AddOption("--year", options->year, "The year that is shown: 2025 (this year)");
    command.OnRun([options, &context] { WriteReport(*options, context); });
}

}  // namespace tarnwick::admin
