// Programs that write in a mail store: one that is ended in the middle of a change, and one that
// makes changes of every kind for a while.
//
//   store_writer end CALL POSTOFFICE MAILBOX CALENDAR ID START END
//       adds an entry to a calendar of the mail root and is ended in front of a file call, given by
//       its name or its number from 1
//   store_writer work MAILBOX_FOLDER NAME SECONDS
//       works on the mailbox beside others of other names; prints how many changes it made
#include <cstdio>
#include <cstdlib>
#include <string>

#include "common/Registry.h"
#include "common/Reports.h"
#include "common/Text.h"
#include "Library/activity/ClientState.h"
#include "Library/activity/messages/MessageHeaders.h"
#include "Library/activity/NotifyFlags.h"
#include "Library/FolderIndex.h"
#include "provider/ModuleState.h"
#include "provider/Operations.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::ScratchRegistry;

AppointmentRecord EntryIn(const std::string& mailbox, const std::string& calendar,
                          const std::string& id) {
    AppointmentRecord record{};
    StoreField(record.postoffice, "sales");
    StoreField(record.mailbox, mailbox);
    StoreField(record.calendarName, calendar);
    StoreField(record.appointmentId, id);
    return record;
}

class EndsAtCall : public CallObserver {
  public:
    explicit EndsAtCall(std::string call) : call_(std::move(call)) { SetCallObserver(this); }
    std::uint32_t BeforeCall(const SystemCall& call) override {
        if (call.name == call_ || std::to_string(++count_) == call_) {
            TerminateProcess(GetCurrentProcess(), testing::kDiedAtCall);
        }
        return 0;
    }

  private:
    std::string call_;
    int count_ = 0;
};

int AddAndEnd(char** words) {
    OnModuleNotification(DLL_PROCESS_ATTACH);
    AppointmentRecord record = EntryIn(words[2], words[3], words[4]);
    StoreField(record.postoffice, words[1]);
    record.start = std::atoi(words[5]);
    record.end = std::atoi(words[6]);
    const EndsAtCall end(words[0]);
    return AddAppointment(record) ? 0 : 1;
}

// Waits are short, so that much is done, yet 61 of them outlast whoever holds an index.
class ShortSleeper : public Sleeper {
  public:
    ShortSleeper() { SetSleeper(this); }
    void Sleep(std::uint32_t /*milliseconds*/) override { ::Sleep(20); }
};

class Silence : public ReportSink {
  public:
    Silence() { SetReportSink(this); }
    void Report(ReportChannel, std::string_view) override {}
};

class Worker {
  public:
    Worker(std::string folder, std::string name)
        : folder_(std::move(folder)),
          mailbox_(folder_.substr(folder_.rfind('\\') + 1)),
          name_(std::move(name)) {}

    // One of each kind of change, on files that all workers of the mailbox change.
    int Round(int number) {
        const int before = changes_;
        ChangeCalendars(number);
        ChangeInbox(number);
        ChangeConnection();
        Tell();
        return changes_ - before;
    }

  private:
    void Count(bool changed) { changes_ += changed ? 1 : 0; }

    // Half of the entries are the only ones of their calendars, which come and go with them.
    void ChangeCalendars(int number) {
        for (const std::string& calendar : {std::string("Own days"), "Days of " + name_}) {
            AppointmentRecord record = EntryIn(mailbox_, calendar, name_);
            AppointmentRecord edited = record;
            edited.end = number;
            Count(AddAppointment(record));
            Count(EditAppointment(record, edited));
            Count(RemoveAppointment(record));
        }
    }

    // A message comes in, gets another subject and goes.
    void ChangeInbox(int number) {
        const std::string inbox = folder_ + "\\Inbox";
        const std::string message = name_ + "-" + std::to_string(number % 3) + ".MAI";
        FolderIndex index;
        index.folder = inbox;
        if (StoreIndex_Open(&index, kOpenChecked) == kOpenFailed) return;
        StoreIndex::Entry* const gone = index.entries.FindById(message);
        if (gone != nullptr) {
            index.entries.Remove(*gone);
            RemoveFile(inbox + "\\" + message);
        } else {
            testing::WriteBytesTo(inbox + "\\" + message, "Subject: new\r\n\r\n");
            index.entries.Add(message);
            SetMessageHeaderField(inbox + "\\" + message, "Subject", name_, false);
        }
        File block;
        StoreIndex_SaveAndClose(&index, true, false, block, nullptr);
        Count(true);
    }

    void ChangeConnection() {
        SessionContext session{name_, 1, 7, name_, 0, nullptr};
        SetClientState(&session, folder_, name_, "10.0.0.1", 143, "IMAP", name_, "Inbox", "run");
        Count(CloseClientState(&session, folder_, name_, "10.0.0.1", 143, "IMAP", "run") == 1);
    }

    void Tell() {
        Count(FlagFolderChanged("sales", mailbox_, "Inbox") == 1);
        Count(WriteNewMailMarker("sales", mailbox_, name_) == 1);
        Count(GetNewMessageCount("sales", mailbox_, {}) != 0);
    }

    std::string folder_;
    std::string mailbox_;
    std::string name_;
    int changes_ = 0;
};

int Work(char** words) {
    const ScratchRegistry registry;
    const std::string folder = words[0];
    ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root",
                               folder.substr(0, folder.find("\\sales\\")));
    for (const char* name : {"Write Wait Timeout", "Read Wait Timeout", "Apply Timeout"}) {
        ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProvidersKey, name, 60'000);
    }
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductProvidersKey,
                              "Store Notification Wait Timeout", 60'000);
    const ShortSleeper sleeper;
    const Silence silence;
    OnModuleNotification(DLL_PROCESS_ATTACH);
    Worker worker(folder, words[1]);
    const ULONGLONG end = GetTickCount64() + std::strtoull(words[2], nullptr, 10) * 1000;
    int changes = 0;
    for (int number = 0; GetTickCount64() < end; ++number) changes += worker.Round(number);
    std::printf("%d\n", changes);
    return 0;
}

}  // namespace
}  // namespace tarnwick

int main(int count, char** words) {
    const std::string part = count > 1 ? words[1] : "";
    if (part == "end" && count == 9) return tarnwick::AddAndEnd(words + 2);
    if (part == "work" && count == 5) return tarnwick::Work(words + 2);
    return 2;
}
