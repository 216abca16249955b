// The operations on an activity file against a plain version of them over the C runtime's files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "common/Clock.h"
#include "common/DiagnosticLevel.h"
#include "Library/activity/ClientNotification.h"
#include "Library/activity/ClientState.h"
#include "Library/activity/NotifyRemote.h"
#include "tests/Library/activity/ActivityFixtures.h"
#include "tests/support/Model.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::PathExists;
using testing::ReadBytesOf;
using testing::WriteBytesTo;

const std::string kHost = testing::OwnHost();
const std::string kX1000(1000, 'x');

// What the operations are called with, and which open is refused meanwhile.
struct Parameters {
    std::string server = "srv", address = "10.0.0.1", protocol = "IMAP-2", run = "run2";
    std::string folder = "Inbox", account = "bob", refused = "none";
    std::int32_t port = 143, mode = 0, error = 5, localLength = -1, remoteLength = -1;
    const char* local = nullptr;
    const char* remote = "news";
    SessionContext context{"bob", 12, 7, "Inbox", 99, nullptr};
    int hasSession = 1;
};
int level = 9;
std::uint64_t unixTime = 9'999'999'999;
int sendResult = 0;
std::string sent;

// Letters of a case that choose the next value of something.
void Choose(char letter, Parameters& p) {
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
    next('F', level, 9, 8, 6, 5);
    next('G', unixTime, 9'999'999'999, 7);
    next('H', sendResult, 0, 1);
    next('I', p.context.accountName, "bob", "");
    next('J', p.context.instanceNumber, 7, 8);
    next('K', p.context.currentFolder, "Inbox", "", "sENT");
    next('L', p.hasSession, 1, 0);
}

// Letters of a case that add a line to the file.
const std::pair<char, std::string> kLines[] = {
    {'a', "srv\tIMAP-2\tbob\t10.0.0.1\t143\t5\tInbox\t7\trun2"},
    {'b', "SRV\timap-9\tbob\t10.0.0.1\t144\t 5\tSent\t1\trun1"},
    {'c', "far\tIMAP\tann\t10.0.0.9\t143\t9999999999\t/inbox\t3\trun0"},
    {'d', kHost + "\tIMAP-1\tann\t10.0.0.1\t143\t007\t\t7\tRUN2"},
    {'e', kHost + "\tPOP3\t\t\t-1\tx\t\\Sent\t8\trun1"},
    {'f', "server\tIMAP\t42"},
    {'g', "0123456789"},
    {'h', "123456789"},
    {'i', "srv\tIMAP\tA\tI\t1\t2\tF\t3\t" + kX1000.substr(745)},
    {'j', "srv\tIMAP\tA\tI\t2147483648\t2\tF\t-9999999999\t" + kX1000.substr(744)},
    {'k', "srv\t" + kX1000.substr(744) + "-\tA\tI\t1\t2\tF\t4x\tR"},
    {'l', kX1000 + std::string(23, 'y')},
    {'m', "\t\t\t\t00\t-0\t\t\t" + kX1000 + kX1000 + "\tx"},
    {'n', std::string("srv\tIMAP\tA\tI\t1\t2\tF\t3\tR\0x\ty", 28)},
    {'o', "S\tP\tA\tI\t1\t2\tF\rG\t3\tR\tX\r"},
    {'p', ""},
    {'q', "\t\t\t\t\t\t\t\t\t\t"},
    {'r', std::string("1234\0more than nine", 19)},
    {'s', kHost + "\tIMAP-1\tann\t10.0.0.1\t144\t-3\tInbox\t8\t"},
    {'t', "\x1a"},
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
        port = std::strtol(field[5].c_str(), nullptr, 10);
        time = std::strtol(field[6].c_str(), nullptr, 10);
        instance = std::strtol(field[8].c_str(), nullptr, 10);
        run = field[9].size() < 256 ? field[9] : "";
        notify = NotifyProtocol(field[2]);
    }
    std::string field[10];
    std::int32_t port, time, instance;
    std::string run, notify;
};

class Model {
  public:
    Model(const Parameters& parameters, const std::string& folder)
        : p_(parameters), path_(folder + "\\_activity."), notify_(NotifyProtocol(p_.protocol)) {}
    ~Model() { Close(); }

    int Set() {
        if (HasNoAccount() || p_.account.empty()) return Print("SetClientState");
        if (!Lock()) return 0;
        if (!Open(old_, "tab", "r") && level > 8) LogClient("I", "Adding connection to new");
        if (!Open(copy_, "tmp", "w") && !old_) LogClient("E", "Unable to add connection to new");
        if (!old_ && copy_) WriteNew();
        if (old_ && copy_) {
            bool found = false;
            EachEntry([&](const Entry& entry) {
                if (IsStale(entry, p_.server)) {
                    Log("TW-IXXXX: Information: Purging item from activity file (", path_,
                        "tab). Server=", p_.server, ", NotifyProtocol=", entry.notify,
                        ", ServerSession=", entry.run, ".\n");
                } else if (IsSame(entry)) {
                    found = true;
                    WriteNew();
                } else {
                    WriteCopy(entry);
                }
            });
            if (!found) {
                LogClient("I", "Adding connection to existing");
                WriteNew();
            }
        }
        Replace();
        return 0;
    }

    int CloseClient() {
        if (HasNoAccount()) {
            if (level > 5) Log("[12] CloseClientState was called with no AccountName specified\n");
            return 0;
        }
        if (!Lock()) return 0;
        if (!Open(old_, "tab", "r")) {
            if (error_ == 2 || error_ == 3) {
                Log("TW-EXXXX: Warning: Failed to access activity file (", path_,
                    "tab). Client connection already removed (", error_, ").\n");
            } else {
                Log("TW-EXXXX: Serious Error: Failed to open file (", path_,
                    "tab). Error = ", error_, ".\n");
            }
            return 0;
        }
        if (!Open(copy_, "tmp", "w")) {
            Log("TW-EXXXX: Serious Error: Failed to open file (", path_, "tmp). Error = 0.\n");
            return 0;
        }
        int existing = 0;
        EachEntry([&](const Entry& entry) {
            ++existing;
            const bool stale = IsStale(entry, p_.server);
            if (!stale && !IsSame(entry)) return WriteCopy(entry);
            Log("TW-IXXXX: Information: Removed ", stale ? "expired entry" : "Entry",
                " from activity file (", path_, "tmp). Protocol=", entry.field[2],
                ", IP=", entry.field[4], ",Port=", entry.port, ".\n");
        });
        if (level > 8) {
            Log("TW-IXXXX: Information: ", written_ == 0 ? "Deleting" : "Updating",
                " activity file (", path_, "tab). Existing ", existing, ", Removed ",
                existing - written_, " Items.\n");
        }
        Replace();
        stamped = true;
        return 1;
    }

    int Count() {
        if (HasNoAccount()) return Print("GetConnectionCount");
        if (!Lock() || !Open(old_, "tab", "r")) return 0;
        const std::string folder = p_.hasSession ? p_.context.currentFolder : "";
        int count = 0;
        EachEntry([&](const Entry& entry) {
            if (folder.empty() || Equal(entry.field[7], folder)) ++count;
        });
        return count;
    }

    int Notify() {
        if (HasNoAccount()) return Print("NotifyClients");
        if (p_.localLength == 0 && p_.remoteLength == 0) return 1;
        const int given = p_.remote ? static_cast<int>(std::strlen(p_.remote)) : 0;
        length_ = p_.remoteLength < 0 ? given + 1 : p_.remoteLength;
        hasRemote_ = length_ >= 1 && given > 0;
        hasLocal_ = p_.localLength != 0 && p_.local && *p_.local;
        if (!hasRemote_ && hasLocal_ && p_.hasSession && p_.port == 12) return 0;
        if (!PathExists(path_ + "tab")) return 2;
        if (!Lock()) return 0;
        bool changed = false;
        Open(old_, "tab", "r");
        if (!Open(copy_, "tmp", "w")) output += "problem with outfile\n";
        if (old_ && copy_) {
            EachEntry([&](const Entry& entry) {
                const bool expired = IsStale(entry, kHost);
                if (!expired && (!IsAddressed(entry) || Tell(entry))) return WriteCopy(entry);
                changed = true;
                if (expired && level <= 8) return;
                Log("Warning: Removing ", expired ? "expired" : "orphaned",
                    " connection from activity connection file. Server=", entry.field[1],
                    ", Port=", entry.port, "\n");
            });
        }
        Close();
        if (changed) Replace();
        if (!changed) std::remove((path_ + "tmp").c_str());
        stamped = false;
        return 1;
    }

    std::string log, output, told;
    bool stamped = false;

  private:
    static std::string Text(const std::string& text) { return text; }
    static std::string Text(int number) { return std::to_string(number); }
    template <typename... Parts>
    void Log(const Parts&... parts) {
        std::string text;
        ((text += Text(parts)), ...);
        log += text.substr(0, 1023);
    }
    void LogClient(const char* code, const char* what) {
        Log("TW-", code, "XXXX: ", *code == 'E' ? "Error: " : "Information: ", what,
            " activity file. Protocol=", p_.protocol, ", IPAddress=", p_.address,
            ", PortNumber=", p_.port, ",Folder=", p_.folder, ".\n");
    }
    int Print(const char* name) {
        output += std::string(p_.hasSession ? "[12] " : "[0] ") + name +
                  " was called with no AccountName specified\n";
        return 0;
    }

    bool Open(FILE*& file, const char* name, const char* mode) {
        const bool refused = p_.refused == name;
        file = refused ? nullptr : std::fopen((path_ + name).c_str(), mode);
        error_ = refused ? p_.error : 2;
        return file != nullptr;
    }
    void Close() {
        for (FILE** file : {&old_, &copy_}) {
            if (*file) std::fclose(*file);
            *file = nullptr;
        }
    }
    bool Lock() {
        if (p_.refused != "blk") return true;
        Log("TW-EXXXX: [Thread:", static_cast<int>(GetCurrentThreadId()),
            "] Serious Error: BlockFileLock Activity "
            "notification handler (WaitForAccessToFile) failed to obtain a lock on the blockfile (",
            path_, "blk).\n");
        return false;
    }
    // Without an entry in it the file goes; without a copy it goes too.
    void Replace() {
        Close();
        std::remove((path_ + "tab").c_str());
        if (written_ == 0) std::remove((path_ + "tmp").c_str());
        stamped = std::rename((path_ + "tmp").c_str(), (path_ + "tab").c_str()) == 0;
    }
    template <typename Visit>
    void EachEntry(Visit visit) {
        char line[1024];
        while (std::fgets(line, sizeof line, old_)) {
            if (std::strchr(line, '\n')) line[std::strlen(line) - 1] = '\0';
            if (std::strlen(line) >= 10) visit(Entry(line));
        }
    }
    void Write(const Entry& entry, const std::string& time) {
        std::fprintf(copy_, written_++ == 0 ? "" : "\n");
        for (int field = 1; field <= 4; ++field)
            std::fprintf(copy_, "%s\t", entry.field[field].c_str());
        std::fprintf(copy_, "%d\t%s\t%s\t%d\t%s", entry.port, time.c_str(), entry.field[7].c_str(),
                     entry.instance, entry.run.c_str());
    }
    void WriteCopy(const Entry& entry) { Write(entry, std::to_string(entry.time)); }
    void WriteNew() {
        Entry entry("");
        entry.field[1] = p_.server, entry.field[2] = p_.protocol, entry.field[3] = p_.account;
        entry.field[4] = p_.address, entry.field[7] = p_.folder, entry.run = p_.run,
        entry.port = p_.port;
        entry.instance = p_.hasSession ? p_.context.instanceNumber : 0;
        Write(entry, std::to_string(unixTime));
    }

    bool HasNoAccount() const { return p_.hasSession && p_.context.accountName.empty(); }
    bool IsStale(const Entry& entry, const std::string& server) const {
        return !server.empty() && Equal(entry.field[1], server) && Equal(entry.notify, notify_) &&
               !p_.run.empty() && !Equal(entry.run, p_.run);
    }
    bool IsServer(const Entry& entry) const {
        return p_.server.empty() || Equal(p_.server, entry.field[1]);
    }
    bool IsAddress(const Entry& entry) const {
        return p_.address.empty() || Equal(p_.address, entry.field[4]);
    }
    bool IsSame(const Entry& entry) const {
        return IsServer(entry) && IsAddress(entry) && (p_.port == -1 || p_.port == entry.port);
    }
    bool IsAddressed(const Entry& entry) const {
        const auto bare = [](const std::string& name) {
            return name.c_str() + std::strspn(name.c_str(), "/\\");
        };
        const bool otherFolder = !p_.folder.empty() && !entry.field[7].empty() &&
                                 !Equal(bare(p_.folder), bare(entry.field[7]));
        const bool connection = IsAddress(entry) && (p_.port <= 0 || p_.port == entry.port);
        return IsServer(entry) && !otherFolder && !(p_.mode == 1 && !connection) &&
               !(p_.mode == 2 && connection);
    }
    bool Tell(const Entry& entry) {
        const bool here = Equal(entry.field[1], kHost) || Equal(entry.field[1], p_.server);
        if (here && Equal(entry.notify, notify_)) {
            return !hasLocal_ || !p_.hasSession || entry.instance != p_.context.instanceNumber;
        }
        if (!hasRemote_) return true;
        std::string text =
            "[TW_NOTIFY]\t" + std::to_string(entry.instance) + "\t" + entry.run + "\t" + p_.remote;
        text = text.substr(0, static_cast<std::size_t>(length_) + 511);
        if (text.find("\r\n\r\n") == text.npos) text += "\r\n\r\n";
        told += entry.field[1] + "|" + entry.notify + "|" + text + "\n";
        if (sendResult == 0) return true;
        Log("Warning: NotifyRemote function failed. Unable to notify server (", entry.field[1],
            ") from server (", p_.server, ") with protocol (", entry.notify, ") from protocol (",
            notify_, ")\n");
        return false;
    }

    const Parameters& p_;
    std::string path_, notify_;
    FILE* old_ = nullptr;
    FILE* copy_ = nullptr;
    int error_ = 0, written_ = 0, length_ = 0;
    bool hasLocal_ = false, hasRemote_ = false;
};

// What an operation gave, told and left.
std::string Told(int result, std::string told, const testing::ScratchFolder& folder) {
    for (std::size_t at; (at = told.find(folder.Path())) != told.npos;) {
        told.replace(at, folder.Path().size(), "@");
    }
    return std::to_string(result) + "\n" + told + "\n" + folder.Contents();
}

std::string RunModel(char operation, const Parameters& p, const testing::ScratchFolder& folder) {
    Model model(p, folder.Path());
    const int result = operation == 'S'   ? model.Set()
                       : operation == 'C' ? model.CloseClient()
                       : operation == 'X' ? model.Count()
                                          : model.Notify();
    const bool stamped = model.stamped && p.hasSession;
    return Told(result, model.log + model.output + model.told + (stamped ? "stamped" : ""), folder);
}

std::string RunProduct(char operation, const Parameters& p, const testing::ScratchFolder& folder) {
    testing::CallRecorder calls;
    // The lock is waited for unless its folder is missing.
    calls.FailAll("CreateFile _activity." + p.refused,
                  p.refused == "blk" ? 3 : static_cast<std::uint32_t>(p.error));
    DiagnosticLevel() = level;
    sent.clear();
    SessionContext context = p.context;
    SessionContext* const session = p.hasSession ? &context : nullptr;
    const testing::ReportRecorder reports;
    int result = 0;
    if (operation == 'S') {
        SetClientState(session, folder.Path(), p.server, p.address, p.port, p.protocol, p.account,
                       p.folder, p.run);
    } else if (operation == 'C') {
        result = CloseClientState(session, folder.Path(), p.server, p.address, p.port, p.protocol,
                                  p.run);
    } else if (operation == 'X') {
        result = GetConnectionCount(session, folder.Path());
    } else {
        result = NotifyClients(session, folder.Path(), p.server, p.address, p.port, p.protocol, 1,
                               p.mode, p.folder, p.run, p.local, p.localLength, p.remote,
                               p.remoteLength);
    }
    const bool stamped =
        context.activityStamp == testing::StampOnDisk(folder.Path("_activity.tab"));
    return Told(result,
                reports.Joined(ReportChannel::Trace) +
                    reports.Joined(ReportChannel::StandardOutput) + sent +
                    (context.activityStamp == 99 ? ""
                     : stamped                   ? "stamped"
                                                 : "stamped wrongly"),
                folder);
}

// Both side by side, each in a folder of its own.
std::string DifferenceIn(const std::string& text) {
    static const testing::ScratchFolder ours, plain;
    Parameters p;
    level = 9, unixTime = 9'999'999'999, sendResult = 0;
    std::string bytes, added;
    ours.Clear(), plain.Clear();
    for (const char letter : text) {
        Choose(letter, p);
        for (const auto& [name, line] : kLines) {
            if (name == letter) added += (bytes.empty() && added.empty() ? "" : "\r\n") + line;
        }
        if (std::string("SCXN").find(letter) == std::string::npos) continue;
        if (!added.empty()) {
            WriteBytesTo(ours.Path("_activity.tab"), bytes + added);
            WriteBytesTo(plain.Path("_activity.tab"), bytes + added);
            added.clear();
        }
        const std::string product = RunProduct(letter, p, ours);
        const std::string model = RunModel(letter, p, plain);
        if (product != model) return "product: " + product + "\n\nmodel: " + model;
        bytes = ReadBytesOf(ours.Path("_activity.tab"));
    }
    return "";
}

TEST(ActivityModel, EveryOperationDoesWhatThePlainOneDoes) {
    const testing::CountingSleeper sleeper;
    SetClock([] { return (unixTime + 11'644'473'600) * 10'000'000; });
    SetRemoteNotifySender([](const char* server, const char* protocol, const char* text) {
        sent.append(server).append("|").append(protocol).append("|").append(text).append("\n");
        return sendResult;
    });
    testing::CompareWithModel(
        "aabbccddeefghijklmnopqrsst"
        "0123456789ABDEFGHIJKL"
        "0123457889"
        "SSSSSCCCCCXXNNNNNNNNNNNN",
        1, 700, 24, DifferenceIn);
    EXPECT_EQ(sleeper.Count(), 0);
}

}  // namespace
}  // namespace tarnwick
