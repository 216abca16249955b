// The operations on an activity file against a plain version of them over the C runtime's files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <optional>
#include <stdexcept>

#include "common/Clock.h"
#include "common/Reports.h"
#include "tests/Library/activity/ActivityOperations.h"
#include "tests/support/Model.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::PathExists;

std::string OwnHost() {
    char name[256] = {};
    DWORD length = sizeof name;
    GetComputerNameA(name, &length);
    return name;
}

const std::string kHost = OwnHost();
const std::string kX1000(1000, 'x');

// What the operations are called with, what the sender does and which open is refused.
struct Parameters {
    std::string server = "srv", address = "10.0.0.1", protocol = "IMAP-2", run = "run2";
    std::string folder = "Inbox", account = "bob", refused = "none";
    std::int32_t port = 143, mode = 0, error = 5, localLength = -1, remoteLength = -1, level = 9;
    const char* local = nullptr;
    const char* remote = "news";
    SessionContext context{"bob", 12, 7, "Inbox", 99, nullptr};
    int hasSession = 1;
} p;
enum class Sender { Succeeds, Fails, Throws, ThrowsNumber, IsMissing } sender;
std::uint64_t unixTime;

// Letters of a case that choose the next value of something.
void Choose(char letter) {
    const auto next = [letter](char name, auto& value, const auto&... each) {
        using Value = std::remove_reference_t<decltype(value)>;
        const std::vector<Value> values{static_cast<Value>(each)...};
        const auto at = std::find(values.begin(), values.end(), value);
        if (name == letter) value = at + 1 < values.end() ? at[1] : values[0];
    };
    next('0', p.server, "srv", "", "far", kHost);
    next('1', p.address, "10.0.0.1", "", "10.0.0.9");
    next('2', p.port, 143, -1, 144, 12, 0);
    next('3', p.protocol, "IMAP-2", "pop3", "", kX1000.substr(745));
    next('4', p.run, "run2", "", "RUN1");
    next('5', p.folder, "Inbox", "/inBOX", "", "\\/Sent");
    next('6', p.account, "bob", "");
    next('7', p.mode, 0, 1, 2, 3);
    next('8', p.local, nullptr, "hi", "");
    next('9', p.localLength, -1, 0, 1);
    next('A', p.remote, "news", nullptr, "", "a\r\n\r\nb", kX1000.c_str());
    next('B', p.remoteLength, -1, 0, 1, 100);
    next('D', p.refused, "none", "tmp", "tab", "blk");
    next('E', p.error, 5, 3);
    next('F', p.level, 9, 8, 6, 5);
    next('G', unixTime, 9'999'999'999, 7);
    next('H', sender, Sender::Succeeds, Sender::Fails, Sender::Throws, Sender::ThrowsNumber,
         Sender::IsMissing);
    next('I', p.context.accountName, "bob", "");
    next('J', p.context.instanceNumber, 7, 8);
    next('K', p.context.currentFolder, "Inbox", "", "sENT");
    next('L', p.hasSession, 1, 0);
}

// Letters from 'a' on add a line to the file.
const std::vector<std::string> kLines = {
    "srv\tIMAP-2\tbob\t10.0.0.1\t143\t5\tInbox\t7\trun2",
    "SRV\timap-9\tbob\t10.0.0.1\t144\t 5\tSent\t1\trun1",
    "far\tIMAP\tann\t10.0.0.9\t143\t9999999999\t/inbox\t3\trun0",
    kHost + "\tIMAP-1\tann\t10.0.0.1\t143\t007\t\t7\tRUN2",
    kHost + "\tPOP3\t\t\t-1\tx\t\\Sent\t8\trun1",
    "server\tIMAP\t42",
    "0123456789",
    "123456789",
    "srv\tIMAP\tA\tI\t1\t2\tF\t3\t" + kX1000.substr(745),
    "srv\tIMAP\tA\tI\t2147483648\t2\tF\t-9999999999\t" + kX1000.substr(744),
    "srv\t" + kX1000.substr(744) + "-\tA\tI\t1\t2\tF\t4x\tR",
    kX1000 + std::string(23, 'y'),
    "\t\t\t\t00\t-0\t\t\t" + kX1000 + kX1000 + "\tx",
    std::string("srv\tIMAP\tA\tI\t1\t2\tF\t3\tR\0x\ty", 28),
    "S\tP\tA\tI\t1\t2\tF\rG\t3\tR\tX\r",
    "",
    "\t\t\t\t\t\t\t\t\t\t",
    std::string("1234\0more than nine", 19),
    kHost + "\tIMAP-1\tann\t10.0.0.1\t144\t-3\tInbox\t8\t",
    "\x1a",
};

bool Equal(const std::string& one, const std::string& other) {
    return _stricmp(one.c_str(), other.c_str()) == 0;
}

std::string NotifyProtocol(const std::string& protocol) {
    const std::string part = protocol.substr(0, protocol.find('-'));
    return part.size() < 256 ? part : "";
}

struct Entry {
    // Fields 1 to 9: a missing one is the last that is there, but empty in a line without any tab.
    explicit Entry(const std::string& line) {
        std::size_t begin = 0;
        for (int number = 1; number < 10; ++number) {
            field[number] = line.substr(begin, line.find('\t', begin) - begin);
            begin = std::min(line.find('\t', begin), line.rfind('\t')) + 1;
            if (begin == 0) break;
        }
        for (const int number : {5, 6, 8})
            field[number] = std::to_string(std::strtol(field[number].c_str(), nullptr, 10));
        if (field[9].size() > 255) field[9] = "";
        notify = NotifyProtocol(field[2]);
    }
    std::string Line() const {
        std::string line = field[1];
        for (int number = 2; number < 10; ++number) line += "\t" + field[number];
        return line;
    }
    std::string field[10], notify;
};

// Each operation adds what it tells, sends and does to the session to `told`.
struct Plain {
    int Run(char operation) {
        const bool sets = operation == 'S', closes = operation == 'C', notifies = operation == 'N';
        if (HasNoAccount() || (sets && p.account.empty())) {
            if (!closes || p.level > 5)
                Say("[%] % was called with no AccountName specified\n",
                    {p.hasSession ? "12" : "0", sets       ? "SetClientState"
                                                : closes   ? "CloseClientState"
                                                : notifies ? "NotifyClients"
                                                           : "GetConnectionCount"});
            return 0;
        }
        if (notifies && p.localLength == 0 && p.remoteLength == 0) return 1;
        const int given = p.remote ? static_cast<int>(std::strlen(p.remote)) : 0;
        length = p.remoteLength < 0 ? given + 1 : p.remoteLength;
        hasRemote = length >= 1 && given > 0;
        hasLocal = p.localLength != 0 && p.local && *p.local;
        if (notifies && !hasRemote && hasLocal && p.hasSession && p.port == 12) return 0;
        touched = true;
        if (notifies && !PathExists(path + "tab")) return 2;
        if (p.refused == "blk")
            return Say(
                "TW-EXXXX: [Thread:%] Serious Error: BlockFileLock Activity notification handler "
                "(WaitForAccessToFile) failed to obtain a lock on the blockfile (%blk).\n",
                {std::to_string(static_cast<int>(GetCurrentThreadId())), path});
        const auto old = Read();
        const auto entries = old.value_or(std::vector<Entry>());
        if (sets) return Set(entries, old.has_value());
        if (closes) return old ? CloseClient(entries) : Unopened();
        if (notifies) return Notify(entries);
        const std::string folder = p.hasSession ? p.context.currentFolder : "";
        return static_cast<int>(std::count_if(
            entries.begin(), entries.end(),
            [&](const Entry& entry) { return folder.empty() || Equal(entry.field[7], folder); }));
    }

    int Set(const std::vector<Entry>& old, bool exists) {
        if (!exists && p.level > 8) SayClient("TW-IXXXX: Information: Adding connection to new");
        if (p.refused == "tmp") {
            if (!exists) SayClient("TW-EXXXX: Error: Unable to add connection to new");
            return Swap(), 0;
        }
        bool found = false;
        for (const Entry& entry : old) {
            if (IsStale(entry, p.server)) {
                Say("TW-IXXXX: Information: Purging item from activity file (%tab). Server=%, "
                    "NotifyProtocol=%, ServerSession=%.\n",
                    {path, p.server, entry.notify, entry.field[9]});
                continue;
            }
            found = found || IsSame(entry);
            lines.push_back(IsSame(entry) ? New() : entry.Line());
        }
        if (exists && !found) SayClient("TW-IXXXX: Information: Adding connection to existing");
        if (!found) lines.push_back(New());
        return Swap(), 0;
    }

    int Unopened() {
        if (p.refused == "tab" && p.error == 5) return SayFailed("tab", "5");
        return Say(
            "TW-EXXXX: Warning: Failed to access activity file (%tab). Client connection "
            "already removed (%).\n",
            {path, p.refused == "tab" ? "3" : "2"});
    }
    int CloseClient(const std::vector<Entry>& old) {
        if (p.refused == "tmp") return SayFailed("tmp", "0");
        for (const Entry& entry : old) {
            const bool stale = IsStale(entry, p.server);
            if (!stale && !IsSame(entry)) {
                lines.push_back(entry.Line());
                continue;
            }
            Say("TW-IXXXX: Information: Removed % from activity file (%tmp). Protocol=%, "
                "IP=%,Port=%.\n",
                {stale ? "expired entry" : "Entry", path, entry.field[2], entry.field[4],
                 entry.field[5]});
        }
        if (p.level > 8)
            Say("TW-IXXXX: Information: % activity file (%tab). Existing %, Removed % Items.\n",
                {lines.empty() ? "Deleting" : "Updating", path, std::to_string(old.size()),
                 std::to_string(old.size() - lines.size())});
        Swap();
        stamps = stamps || lines.empty();
        return 1;
    }

    int Notify(const std::vector<Entry>& old) {
        if (p.refused == "tmp") Say("problem with outfile\n");
        std::remove((path + "tmp").c_str());
        if (p.refused == "tmp") return 1;
        for (const Entry& entry : old) {
            const bool expired = IsStale(entry, kHost);
            const bool stays = !expired && (!IsAddressed(entry) || Tell(entry));
            if (thrown) return lines.clear(), Write("tmp"), 0;
            if (stays) lines.push_back(entry.Line());
            if (stays || (expired && p.level <= 8)) continue;
            Say("Warning: Removing % connection from activity connection file. Server=%, Port=%\n",
                {expired ? "expired" : "orphaned", entry.field[1], entry.field[5]});
        }
        if (lines.size() != old.size()) Swap();
        return stamps = false, 1;
    }

    const std::string path;
    std::string told;
    std::vector<std::string> lines;  // of the new file
    bool hasLocal = false, hasRemote = false, thrown = false, touched = false, stamps = false;
    int length = 0;

    // Each "%" stands for the next value.
    int Say(const std::string& format, std::initializer_list<std::string> values = {}) {
        std::string text;
        auto value = values.begin();
        for (const char letter : format) text += letter == '%' ? *value++ : std::string(1, letter);
        told += text.substr(0, 1023);
        return 0;
    }
    void SayClient(const std::string& what) {
        Say(what + " activity file. Protocol=%, IPAddress=%, PortNumber=%,Folder=%.\n",
            {p.protocol, p.address, std::to_string(p.port), p.folder});
    }
    int SayFailed(const std::string& name, const std::string& error) {
        return Say("TW-EXXXX: Serious Error: Failed to open file (%). Error = %.\n",
                   {path + name, error});
    }
    static bool HasNoAccount() { return p.hasSession && p.context.accountName.empty(); }
    std::optional<std::vector<Entry>> Read() const {
        FILE* const file = p.refused == "tab" ? nullptr : std::fopen((path + "tab").c_str(), "r");
        if (!file) return std::nullopt;
        std::vector<Entry> entries;
        for (char line[1024]; std::fgets(line, sizeof line, file);) {
            if (std::strchr(line, '\n')) line[std::strlen(line) - 1] = '\0';
            if (std::strlen(line) >= 10) entries.emplace_back(line);
        }
        return std::fclose(file), entries;
    }
    void Write(const char* name) const {
        FILE* const file = std::fopen((path + name).c_str(), "w");
        for (const std::string& line : lines)
            std::fprintf(file, &line == lines.data() ? "%s" : "\n%s", line.c_str());
        std::fclose(file);
    }
    // What was left by a sender that threw takes part where there is no new replacement.
    void Swap() {
        if (p.refused != "tmp") Write("tmp");
        std::remove((path + "tab").c_str());
        if (p.refused != "tmp" && lines.empty()) std::remove((path + "tmp").c_str());
        stamps = std::rename((path + "tmp").c_str(), (path + "tab").c_str()) == 0;
    }
    std::string New() const {
        return p.server + "\t" + p.protocol + "\t" + p.account + "\t" + p.address + "\t" +
               std::to_string(p.port) + "\t" + std::to_string(unixTime) + "\t" + p.folder + "\t" +
               std::to_string(p.hasSession ? p.context.instanceNumber : 0) + "\t" + p.run;
    }

    static bool IsStale(const Entry& entry, const std::string& server) {
        return !server.empty() && Equal(entry.field[1], server) && !p.run.empty() &&
               Equal(entry.notify, NotifyProtocol(p.protocol)) && !Equal(entry.field[9], p.run);
    }
    static bool IsConnection(const Entry& entry, int anyPort) {
        return (p.address.empty() || Equal(p.address, entry.field[4])) &&
               (p.port == -1 || p.port == anyPort || std::to_string(p.port) == entry.field[5]);
    }
    static bool IsServer(const Entry& entry) {
        return p.server.empty() || Equal(p.server, entry.field[1]);
    }
    static bool IsSame(const Entry& entry) { return IsServer(entry) && IsConnection(entry, -1); }
    static bool IsAddressed(const Entry& entry) {
        const auto bare = [](const std::string& name) {
            return name.c_str() + std::strspn(name.c_str(), "/\\");
        };
        const bool isFolder = p.folder.empty() || entry.field[7].empty() ||
                              Equal(bare(p.folder), bare(entry.field[7]));
        return IsServer(entry) && isFolder && (p.mode != 1 || IsConnection(entry, 0)) &&
               (p.mode != 2 || !IsConnection(entry, 0));
    }
    bool Tell(const Entry& entry) {
        const bool here = Equal(entry.field[1], kHost) || Equal(entry.field[1], p.server);
        const std::string own = NotifyProtocol(p.protocol);
        if (here && Equal(entry.notify, own)) {
            return !hasLocal || !p.hasSession ||
                   entry.field[8] != std::to_string(p.context.instanceNumber);
        }
        if (!hasRemote || sender == Sender::IsMissing) return true;
        std::string text =
            "[TW_NOTIFY]\t" + entry.field[8] + "\t" + entry.field[9] + "\t" + p.remote;
        text = text.substr(0, static_cast<std::size_t>(length) + 511);
        if (text.find("\r\n\r\n") == text.npos) text += "\r\n\r\n";
        told += entry.field[1] + "|" + entry.notify + "|" + text;
        thrown = sender == Sender::Throws || sender == Sender::ThrowsNumber;
        if (thrown)
            Say(sender == Sender::ThrowsNumber ? "NotifyClients_Ex raised an exception\n"
                                               : "NotifyClients_Ex handled an exception; session "
                                                 "will be dropped.\nThe exception was: no route\n");
        if (sender != Sender::Fails) return true;
        return Say("Warning: NotifyRemote function failed. Unable to notify server (%) from server "
                   "(%) "
                   "with protocol (%) from protocol (%)\n",
                   {entry.field[1], p.server, entry.notify, own}) != 0;
    }
};

// What is sent stands among the reports.
int Send(const char* server, const char* protocol, const char* text) {
    PrintStandardOutput(std::string(server) + "|" + protocol + "|" + text);
    if (sender == Sender::Throws) throw std::runtime_error("no route");
    if (sender == Sender::ThrowsNumber) throw 7;
    return sender == Sender::Fails ? 1 : 0;
}

std::string RunPlain(char operation, const testing::ScratchFolder& folder) {
    Plain plain{folder.Path("_activity."), {}, {}};
    const std::string result = std::to_string(plain.Run(operation));
    return result + (plain.touched ? "" : " untouched ") + plain.told +
           (plain.stamps && p.hasSession ? "stamped" : "");
}

std::string RunProduct(char operation, const testing::ScratchFolder& folder) {
    testing::CallRecorder calls;
    // The lock is waited for unless its folder is missing.
    calls.FailAll("CreateFile _activity." + p.refused,
                  p.refused == "blk" ? 3 : static_cast<std::uint32_t>(p.error));
    DiagnosticLevel() = p.level;
    SetRemoteNotifySender(sender == Sender::IsMissing ? nullptr : Send);
    SessionContext context = p.context;
    SessionContext* const session = p.hasSession ? &context : nullptr;
    testing::ReportRecorder reports;
    int result = 0;
    if (operation == 'S')
        SetClientState(session, folder.Path(), p.server, p.address, p.port, p.protocol, p.account,
                       p.folder, p.run);
    if (operation == 'C')
        result = CloseClientState(session, folder.Path(), p.server, p.address, p.port, p.protocol,
                                  p.run);
    if (operation == 'X') result = GetConnectionCount(session, folder.Path());
    if (operation == 'N')
        result = NotifyClients(session, folder.Path(), p.server, p.address, p.port, p.protocol, 1,
                               p.mode, p.folder, p.run, p.local, p.localLength, p.remote,
                               p.remoteLength);
    std::string told = std::to_string(result) + (calls.Count() == 0 ? " untouched " : "");
    for (const auto& [channel, text] : reports.Take()) {
        const bool isLog = channel == ReportChannel::Trace;
        if (isLog || channel == ReportChannel::StandardOutput) told += text;
    }
    const bool stamped = context.activityStamp == testing::StampOnDisk(folder.Path());
    return told + (context.activityStamp == 99 ? "" : stamped ? "stamped" : "stamped wrongly");
}

// Both side by side, each in a folder of its own.
std::string DifferenceIn(const std::string& text) {
    static const testing::ScratchFolder ours, plains;
    p = {}, unixTime = 9'999'999'999, sender = Sender::Succeeds;
    std::string added;
    ours.Clear(), plains.Clear();
    const auto told = [](auto run, char letter, const testing::ScratchFolder& folder) {
        std::string words = run(letter, folder);
        for (std::size_t at; (at = words.find(folder.Path())) != words.npos;)
            words.replace(at, folder.Path().size(), "@");
        return words + "\n" + folder.Contents();
    };
    for (const char letter : text) {
        Choose(letter);
        const std::string bytes = testing::ReadBytesOf(ours.Path("_activity.tab")) + added;
        if (letter >= 'a')
            added += (bytes.empty() ? "" : "\r\n") + kLines[static_cast<std::size_t>(letter - 'a')];
        if (std::strchr("SCXN", letter) == nullptr) continue;
        for (const testing::ScratchFolder* folder : {&ours, &plains})
            if (!added.empty()) testing::WriteBytesTo(folder->Path("_activity.tab"), bytes);
        added.clear();
        const std::string product = told(RunProduct, letter, ours);
        const std::string plain = told(RunPlain, letter, plains);
        if (product != plain) return "product: " + product + "\n\nmodel: " + plain;
    }
    return "";
}

TEST(ActivityModel, EveryOperationDoesWhatThePlainOneDoes) {
    const testing::CountingSleeper sleeper;
    SetClock([] { return (unixTime + 11'644'473'600) * 10'000'000; });
    testing::CompareWithModel(
        "aabbccddeefghijklmnopqrsst"
        "0123456789ABDEFGHHHIJKL"
        "0123457889"
        "SSSSSCCCCCXXNNNNNNNNNNNN",
        1, 700, 24, DifferenceIn);
    EXPECT_EQ(sleeper.Count(), 0);
}

}  // namespace
}  // namespace tarnwick
