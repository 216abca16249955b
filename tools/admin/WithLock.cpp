// with-lock
#include <memory>
#include <string>
#include <vector>

#include "common/Files.h"
#include "provider/CalendarLock.h"
#include "provider/CalendarPaths.h"
#include "tools/admin/CommandLine.h"
#include "tools/admin/Commands.h"
#include "tools/admin/Console.h"
#include "tools/admin/Diagnosis.h"

namespace tarnwick::admin {
namespace {

struct WithLockOptions {
    std::string mailbox;
    std::string calendar;
    std::vector<std::string> program;
};

// A calendar's block file, taken as the library's writers do. Open for as long as it is held: the
// system deletes it when this process ends, whatever ends it, and no reader can before, for the
// handle shares no deletion.
class HeldCalendar {
  public:
    HeldCalendar(const Mailbox& mailbox, const std::string& calendar) {
        const CalendarNames names{mailbox.postoffice, mailbox.name, calendar};
        const std::string path =
            FileInCalendarFolder(mailbox.postoffice, mailbox.name, calendar + ".BLK");
        if (!NamesCalendar(names)) throw Refusal("the path " + path + " is too long");
        const std::string key = PrepareCalendarFolder(names);
        if (!AcquireCalendarBlock(key)) throw RefusedChange(mailbox, calendar);
        block_ = FileHandle(CreateFileA(path.c_str(), DELETE, kShareReadWrite, nullptr,
                                        OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
        if (block_.IsValid()) return;
        Failure failure = SystemFailure("the block file " + path + " cannot be held open");
        ReleaseCalendarBlock(key);
        throw failure;
    }

  private:
    FileHandle block_;
};

// Keeps the tool alive until the program, which the console tells too, has ended. At the console's
// own end the system ends the tool behind it.
BOOL WINAPI LeaveToProgram(DWORD event) {
    return event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT ? TRUE : FALSE;
}

// A program that dies with the tool, so that it never works on a calendar that is not held.
class Program {
  public:
    Program(std::wstring commandLine, const std::string& name) {
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        SetLimits(limits);
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
        startup.hStdOutput = StandardOutput();
        startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
        PROCESS_INFORMATION started{};
        if (CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED,
                           nullptr, nullptr, &startup, &started) == FALSE) {
            throw SystemFailure("the program " + name + " cannot be started: error " +
                                std::to_string(GetLastError()));
        }
        process_ = ObjectHandle(started.hProcess);
        const ObjectHandle thread(started.hThread);
        AssignProcessToJobObject(job_.Get(), process_.Get());
        ResumeThread(thread.Get());
    }

    // Waits for its end; gives its exit status. What it started itself may live on.
    int Wait() {
        DWORD status = 0;
        WaitForSingleObject(process_.Get(), INFINITE);
        GetExitCodeProcess(process_.Get(), &status);
        SetLimits({});
        return static_cast<int>(status);
    }

  private:
    void SetLimits(JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits) {
        SetInformationJobObject(job_.Get(), JobObjectExtendedLimitInformation, &limits,
                                sizeof limits);
    }

    ObjectHandle job_{CreateJobObjectW(nullptr, nullptr)};
    ObjectHandle process_;
};

Program StartHeld(const WithLockOptions& options, const std::wstring& commandLine) {
    SetConsoleCtrlHandler(LeaveToProgram, TRUE);
    return {commandLine, options.program.front()};
}

void WithLock(const WithLockOptions& options, Context& context) {
    if (context.json) throw WrongUsage("the output is the program's; leave --json away");
    if (!context.host.empty()) {
        throw WrongUsage("calendars are held on this machine alone; leave --host away");
    }
    const std::wstring commandLine(BehindDashes(GetCommandLineW()));
    if (commandLine.empty() || options.program.empty()) {
        throw WrongUsage("write -- and the program behind the calendar");
    }
    CheckCalendarName(options.calendar);
    try {
        const MailboxStore store = OpenMailbox(options.mailbox, context);
        TellBlock(store.Owner(), options.calendar, context);
        if (context.dryRun) {
            return PrintDone("held " + options.calendar + " and ran " + options.program.front(),
                             context);
        }
        RequireWritableCalendars(store.Owner());
        const HeldCalendar held(store.Owner(), options.calendar);
        context.programStatus = StartHeld(options, commandLine).Wait();
    } catch (const Failure& failure) {
        throw Failure(failure.Status(),
                      std::string(failure.what()) + "\n(the program was not run)");
    }
}

}  // namespace

void RegisterWithLock(const Command& app, Context& context) {
    auto options = std::make_shared<WithLockOptions>();
    const Command command = app.AddCommand(
        "with-lock",
        {"Run a program while a calendar is held, as its writers hold it",

         "Writers of the calendar wait for the program, up to \"Write Wait Timeout\" (80 s), and\n"
         "fail; readers wait until it ends, for they cannot delete the block file as they do with\n"
         "one that was left behind. So let it be short, and let the program not use the calendar\n"
         "through the library: it would wait for itself. Commands of the shell need cmd /c.\n"
         "The exit status is the program's. When the program was not run, the last line on\n"
         "standard error says so, and the status is the tool's: 1 refused, 2 wrong usage, 5 the\n"
         "calendar is busy, 6 not allowed.\n",

         "  tarnwick-admin with-lock sales/anna Y25M03D01 -- \\copies\\copy-calendars.cmd\n"
         "  tarnwick-admin with-lock sales/anna Holidays -- notepad.exe\n"});
    AddMailboxOption(command, options->mailbox);
    command.AddOption("calendar", options->calendar, "The calendar to hold").Required();
    command.AddOption("program", options->program, "Behind --: the program and its arguments");
    AddDryRunOption(command, context);
    command.OnRun([options, &context] { WithLock(*options, context); });
}

}  // namespace tarnwick::admin
