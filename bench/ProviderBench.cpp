// The calendar operations through the built module, against the system calls that each needs: the
// same ones in the same order, with buffers that are there already.
#include <algorithm>
#include <chrono>
#include <functional>
#include <limits>

#include "bench/BenchReport.h"
#include "common/Registry.h"
#include "common/Text.h"
#include "common/WindowsApi.h"
#include "tests/support/WindowsFixtures.h"
#include "twaicp.h"

namespace tarnwick::bench {
namespace {

using testing::ScratchFolder;
using testing::ScratchRegistry;

using Clock = std::chrono::steady_clock;
using RecordFunction = std::uint32_t (*)(AppointmentRecord*);

constexpr std::size_t kBufferSize = 4 << 20;

double NanosecondsOf(const Work& work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

// Shortest times of two kinds of work in turns, each after `prepare`, which is not timed.
PairTimes BestAfter(const Work& prepare, const Work& ours, const Work& other, int rounds) {
    constexpr double kNever = std::numeric_limits<double>::infinity();
    PairTimes best{kNever, kNever};
    for (int round = 0; round < rounds; ++round) {
        prepare();
        best.ours = std::min(best.ours, NanosecondsOf(ours));
        prepare();
        best.other = std::min(best.other, NanosecondsOf(other));
    }
    return best;
}

class Calendar {
  public:
    explicit Calendar(const std::string& root)
        : folder_(root + "\\PO\\MAILROOT\\box\\Calendar"), buffer_(kBufferSize, '\0') {
        testing::MakePath(folder_);
        StoreField(record_.postoffice, "PO");
        StoreField(record_.mailbox, "box");
        StoreField(record_.calendarName, "Y11M08");
    }

    void Fill(int lines) {
        content_.clear();
        for (int line = 0; line < lines; ++line) content_ += Line(line);
        content_.resize(content_.size() - 2);
        extended_ = content_ + "\r\n" + Line(lines);
        extended_.resize(extended_.size() - 2);
        StoreField(record_.appointmentId, IdOf(lines));
        record_.start = StartOf(lines);
        record_.end = record_.start + 3600;
        Restore();
    }
    void Restore() const { testing::WriteBytesTo(Path("CAL"), content_); }

    AppointmentRecord Record() const { return record_; }
    AppointmentRecord LastRecord(int lines) const {
        AppointmentRecord record = record_;
        StoreField(record.appointmentId, IdOf(lines - 1));
        return record;
    }

    std::size_t ReadWhole() {
        const HANDLE file = CreateFileA(calendar_.c_str(), GENERIC_READ, kShare, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        const std::size_t count = ReadAll(file);
        CloseHandle(file);
        return count;
    }

    void RawGet() {
        CreateDirectoryA(folder_.c_str(), nullptr);
        Search();
        ReadWhole();
    }

    // Asks for the block file by its name, a third of what the search costs.
    void RawFind() {
        CreateDirectoryA(folder_.c_str(), nullptr);
        GetFileAttributesA(block_.c_str());
        ReadWhole();
    }

    void RawAdd() {
        CreateDirectoryA(folder_.c_str(), nullptr);
        CloseHandle(CreateFileA(block_.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
        const HANDLE calendar = CreateFileA(calendar_.c_str(), GENERIC_READ, kShare, nullptr,
                                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        const HANDLE replacement = CreateFileA(replacement_.c_str(), GENERIC_WRITE, kShare, nullptr,
                                               CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        ReadAll(calendar);
        DWORD written = 0;
        WriteFile(replacement, extended_.data(), static_cast<DWORD>(extended_.size()), &written,
                  nullptr);
        CloseHandle(replacement);
        CloseHandle(calendar);
        Search();
        CopyFileA(calendar_.c_str(), backup_.c_str(), FALSE);
        DeleteFileA(calendar_.c_str());
        MoveFileA(replacement_.c_str(), calendar_.c_str());
        DeleteFileA(replacement_.c_str());
        DeleteFileA(block_.c_str());
    }

  private:
    static constexpr DWORD kShare = FILE_SHARE_READ | FILE_SHARE_WRITE;

    static std::int32_t StartOf(int line) { return 1313000000 + line * 600; }
    static std::string IdOf(int line) { return "entry-" + std::to_string(100000 + line); }
    static std::string Line(int line) {
        return std::to_string(StartOf(line)) + "\t" + std::to_string(StartOf(line) + 3600) + "\t" +
               IdOf(line) + "\r\n";
    }
    std::string Path(const char* extension) const { return folder_ + "\\Y11M08." + extension; }

    std::size_t ReadAll(HANDLE file) {
        LARGE_INTEGER size;
        GetFileSizeEx(file, &size);
        DWORD count = 0;
        ReadFile(file, buffer_.data(), static_cast<DWORD>(size.QuadPart) + 1, &count, nullptr);
        return count;
    }
    void Search() const {
        WIN32_FIND_DATAA data;
        const HANDLE search = FindFirstFileA(block_.c_str(), &data);
        if (search != INVALID_HANDLE_VALUE) FindClose(search);
    }

    std::string folder_;
    std::string calendar_ = Path("CAL");
    std::string replacement_ = Path("TMP");
    std::string backup_ = Path("BAK");
    std::string block_ = Path("BLK");
    std::string buffer_;
    std::string content_;
    std::string extended_;
    AppointmentRecord record_{};
};

class Module {
  public:
    Module() : module_(LoadLibraryA("TWAICP.DLL")) {}
    RecordFunction Function(const char* name) const {
        return reinterpret_cast<RecordFunction>(
            reinterpret_cast<void*>(GetProcAddress(module_.Get(), name)));
    }

  private:
    ModuleHandle module_;
};

void Require(std::uint32_t result) {
    if (result != 1) std::exit(1);
}

PairTimes TimesOfAdd(const Module& module, Calendar& calendar, int lines, int rounds) {
    const RecordFunction add = module.Function("AppointmentAdd");
    calendar.Fill(lines);
    AppointmentRecord record = calendar.Record();
    return BestAfter([&] { calendar.Restore(); }, [&] { Require(add(&record)); },
                     [&] { calendar.RawAdd(); }, rounds);
}

PairTimes TimesOfGet(const Module& module, Calendar& calendar, int lines, int rounds) {
    const RecordFunction get = module.Function("AppointmentGet");
    calendar.Fill(lines);
    AppointmentRecord record = calendar.LastRecord(lines);
    return BestAfter([] {}, [&] { Require(get(&record)); }, [&] { calendar.RawGet(); }, rounds);
}

PairTimes TimesOfEnumeration(const Module& module, Calendar& calendar, int lines, int rounds) {
    const RecordFunction first = module.Function("AppointmentFindFirst");
    const RecordFunction next = module.Function("AppointmentFindNext");
    calendar.Fill(lines);
    const auto enumerate = [&] {
        int found = 0;
        AppointmentRecord record = calendar.Record();
        record.appointmentId[0] = '\0';
        for (auto more = first(&record); more == 1; more = next(&record)) {
            record.appointmentId[0] = '\0';
            ++found;
        }
        Require(found == lines ? 1 : 0);
    };
    const auto callAsOften = [&] {
        for (int call = 0; call <= lines; ++call) calendar.RawFind();
    };
    return BestAfter([] {}, enumerate, callAsOften, rounds);
}

void Compare(BenchReport& report, const Module& module, Calendar& calendar) {
    constexpr int kSmall = 20;
    constexpr int kLarge = 10000;
    const auto row = [&](const char* name, PairTimes times, double goal) {
        report.AtMost(name, times.ours / 1000, times.other / 1000, goal, "us");
    };
    const auto linear = [&](const char* name, PairTimes twice, PairTimes once, double times) {
        report.AtMost(name, twice.ours / 1000, times * once.ours / 1000, 1.1, "us");
    };
    row("AppointmentAdd, 20 lines, over its system calls",
        TimesOfAdd(module, calendar, kSmall, 1000), 1.05);
    const PairTimes add = TimesOfAdd(module, calendar, kLarge, 300);
    row("AppointmentAdd, 10 000 lines, over its system calls", add, 1.3);
    linear("AppointmentAdd, 20 000 lines, over twice 10 000",
           TimesOfAdd(module, calendar, 2 * kLarge, 200), add, 2);
    row("AppointmentGet, 20 lines, over its system calls",
        TimesOfGet(module, calendar, kSmall, 2000), 1.1);
    const PairTimes get = TimesOfGet(module, calendar, kLarge, 500);
    row("AppointmentGet, 10 000 lines, over its system calls", get, 1.2);
    linear("AppointmentGet, 20 000 lines, over twice 10 000",
           TimesOfGet(module, calendar, 2 * kLarge, 500), get, 2);
    const PairTimes half = TimesOfEnumeration(module, calendar, kLarge / 2, 4);
    const PairTimes all = TimesOfEnumeration(module, calendar, kLarge, 4);
    row("Find all of 10 000 lines, over their system calls", all, 1.4);
    // Each call is linear, and there are twice as many.
    linear("Find all of 10 000 lines, over four times 5 000", all, half, 4);
}

}  // namespace
}  // namespace tarnwick::bench

int main(int argumentCount, char** arguments) {
    using namespace tarnwick;
    using namespace tarnwick::bench;
    const ScratchRegistry registry;
    const ScratchFolder root;
    ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root", root.Path());
    const Module module;
    Calendar calendar(root.Path());
    BenchReport report(argumentCount, arguments);
    Compare(report, module, calendar);
    return 0;
}
