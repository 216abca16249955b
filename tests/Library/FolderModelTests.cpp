// Folders in life against the plain version of them: what each operation gives, says and leaves.
#include "tests/Library/FolderModel.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "common/Clock.h"
#include "Library/FolderFlags.h"
#include "Library/FolderScan.h"
#include "Library/IndexBlockFile.h"
#include "Library/LIBStoreIndexSerialisation/IndexFileStream.h"
#include "Library/LIBStoreIndexSerialisation/IndexSettings.h"
#include "tests/Library/StoreFolders.h"
#include "tests/support/Model.h"

namespace tarnwick {
namespace {

using testing::FolderSettings;
using testing::InWords;
using testing::kTypes;
using testing::ModelEntry;
using testing::ModelObject;
using testing::ReadBytesOf;
using testing::StoreModel;
using testing::WriteBytesTo;

constexpr std::uint64_t kMinute = 600'000'000;
constexpr std::uint64_t kYear2011 = 129'383'136'000'000'000;
constexpr std::uint64_t kYear2020 = 132'223'104'000'000'000;

struct ItemText {
    const char* extension;
    const char* text;
    std::map<std::string, std::string> properties;
};
const ItemText kItems[] = {
    {"MAI", "From: a\r\nSubject: b\r\n\r\ntext", {{"FROM", "a"}, {"SUBJECT", "b"}}},
    {"VCF", "BEGIN:VCARD\r\nVERSION:3.0\r\nN:Doe;Jo\r\nEND:VCARD\r\n", {{"SUBJECT", "Jo Doe"}}},
    {"CAL",
     "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VEVENT\r\nDTSTART:20111231T080000Z\r\n"
     "SUMMARY:Party\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n",
     {{"MESSAGEDATE", "1325318400"}, {"SUBJECT", "Party"}}},
    {"TSK",
     "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VTODO\r\nSUMMARY:Do\r\nEND:VTODO\r\nEND:"
     "VCALENDAR\r\n",
     {{"SUBJECT", "Do"}}},
    {"GRP", "group", {}},
    {"", "", {}},
};

std::uint64_t now = 0;
std::uint64_t Clock() {
    return now;
}
bool scanFails = false;
int scans = 0;
bool FailingOrDefaultScan(StoreIndex& entries, const std::string& folder, std::uint32_t type) {
    ++scans;
    return !scanFails && DefaultFolderScan(entries, folder, type);
}

void SetLastWrite(const std::string& path, std::uint64_t time) {
    const File file(path, {GENERIC_WRITE, kShareReadWrite, OPEN_EXISTING});
    const FILETIME lastWrite{static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
    SetFileTime(file.Native(), nullptr, nullptr, &lastWrite);
}

std::string ViewOf(const std::vector<ModelEntry>& entries, std::uint32_t lastUid, bool open,
                   bool whole) {
    return testing::WrittenIndex(entries, lastUid) + (open ? "open" : "closed") +
           (whole ? " whole" : " part");
}

// Two folders, and two objects as two processes have them, in the product and in the model.
class Case {
  public:
    Case(const FolderSettings& settings, const std::string& root, std::uint32_t type)
        : root_(root), model_(settings) {
        scanFails = false;
        now = kYear2020;
        for (const ItemText& item : kItems) model_.properties[item.text] = item.properties;
        for (const char* name : {"\\Inbox", "\\$FileRoot"}) {
            const std::string folder = root_ + name;
            for (const auto& file : std::filesystem::directory_iterator(folder)) {
                const std::string left = file.path().filename().string();
                // Message files are slow to make and keep what they say.
                if (left.starts_with("_") || left.starts_with("D"))
                    RemoveFile(folder + "\\" + left);
            }
            for (std::size_t at = 0; at < 2; ++at) Enter(at, folder, type);
            WriteMessages("A", kItems);
        }
        for (std::size_t at = 0; at < 2; ++at) Enter(at, root_ + "\\Inbox", type);
        WriteMessages("B", nullptr);
        WriteMessages("C", nullptr);
        Write(StoreModel::IndexName(type),
              Index({{Id("A"), 5, {{"SUBJECT", "A"}}}, {Id("B"), 7, {}}}));
    }

    // What differs after the operation.
    std::string Step(char letter) {
        testing::ReportRecorder reports;
        const testing::CountingSleeper sleeper;
        model_.log.clear();
        model_.waits = model_.scans = scans = 0;
        const std::string difference = Run(letter);
        SettleTimes();
        std::string log;
        for (const auto& [channel, text] : reports.Take()) {
            if (!text.starts_with("StoreIndex_") && !text.starts_with("Failed to des")) continue;
            log += (channel == ReportChannel::Trace ? "T " : "E ") + text + "\n";
        }
        const StoreIndex& entries = Product().entries;
        return difference + Compared("log", log, model_.log) +
               Compared("waits", std::to_string(sleeper.Count()), std::to_string(model_.waits)) +
               Compared("scans", std::to_string(scans), std::to_string(model_.scans)) +
               Compared("index",
                        ViewOf(testing::EntriesOf(entries), entries.LastUid(), Product().open,
                               entries.IsWhole()),
                        ViewOf(Model().ByUid(), Model().lastUid, Model().open, Model().IsWhole()));
    }

    std::string CompareFiles() {
        std::string difference = Compared(
            "details", ReadBytesOf(root_ + "\\MAILROOT\\PO\\F\\_FOLDER.DAT"), model_.detailsText);
        for (const auto& [folder, files] : model_.folders) {
            std::string names;
            std::string modelNames;
            std::set<std::string> sorted;
            for (const auto& file : std::filesystem::directory_iterator(folder)) {
                sorted.insert(file.path().filename().string());
            }
            for (const std::string& name : sorted) names += name + " ";
            for (const auto& [name, file] : files) {
                modelNames += name + " ";
                if (!name.starts_with("_") || name.ends_with("Y")) continue;
                difference += Compared(name.c_str(), InWords(ReadBytesOf(folder + "\\" + name)),
                                       InWords(file.bytes));
            }
            difference += Compared("files", names, modelNames);
        }
        return difference;
    }

  private:
    FolderIndex& Product() { return products_[at_]; }
    ModelObject& Model() { return objects_[at_]; }
    std::string Id(const std::string& name) const {
        return name + "." + MessageFileExtension(objects_[at_].type);
    }
    static std::string Compared(const char* what, const std::string& product,
                                const std::string& model) {
        if (product == model) return "";
        return std::string(what) + "\n  product: " + product + "\n  model:   " + model + "\n";
    }
    static std::string Index(const std::vector<ModelEntry>& entries) {
        return testing::WrittenIndex(entries, 7);
    }
    void Enter(std::size_t at, const std::string& folder, std::uint32_t type) {
        products_[at].folder = objects_[at].folder = folder;
        products_[at].folderType = objects_[at].type = type;
        products_[at].dataDirectory = root_;
        products_[at].postoffice = "PO";
        products_[at].folderName = "F";
    }
    void Write(const std::string& name, const std::string& bytes) {
        WriteBytesTo(Model().folder + "\\" + name, bytes);
        model_.Write(Model().folder, name, bytes);
        SettleTimes();
    }
    void WriteMessages(const std::string& name, const ItemText* items) {
        for (const char* extension : {"MAI", "VCF", "CAL", "TSK", "GRP"}) {
            const std::string file = name + "." + extension;
            const std::string text = items == nullptr ? "" : (items++)->text;
            const std::string path = Model().folder + "\\" + file;
            if (!testing::PathExists(path)) {
                WriteBytesTo(path, text);
                SetLastWrite(path, kYear2011);
            }
            model_.Write(Model().folder, file, text);
        }
    }
    void Remove(const std::string& name) {
        RemoveFile(Model().folder + "\\" + name);
        model_.folders[Model().folder].erase(name);
    }
    // Files that were written just now get times of their own, as if the clock ticked finely.
    void SettleTimes() {
        std::map<std::uint64_t, std::uint64_t> settled;
        for (const auto& [folder, files] : model_.folders) {
            for (const char* name : {"\\_index.xml", "\\_groups.xml", "\\_index.xml.bak"}) {
                const auto stamp = StampOf(folder + name);
                if (!stamp || stamp->lastWrite < kYear2020 + kMinute * 60 * 24 * 365) continue;
                std::uint64_t& time = settled[stamp->lastWrite];
                if (time == 0) time = now - ++ticks_;
                SetLastWrite(folder + name, time);
                for (FolderIndex& index : products_) {
                    if (index.entries.FileStamp() == *stamp) {
                        index.entries.SetFileStamp({time, stamp->size});
                    }
                }
            }
        }
    }

    std::string Run(char letter) {
        FolderIndex& index = Product();
        ModelObject& object = Model();
        StoreIndex& entries = index.entries;
        const std::string name = StoreModel::IndexName(object.type);
        const auto results = [](int product, int model) {
            return Compared("result", std::to_string(product), std::to_string(model));
        };
        const auto close = [&](bool save, bool withBlock, const FolderDetails* details) {
            File block;
            const std::string path = IndexBlockPath(index.folder, index.folderType);
            if (withBlock) {
                RemoveFile(path);
                block = File(path, kCreateBlockFile);
            }
            model_.SaveAndClose(object, save,
                                details == nullptr ? "" : FolderDetailsText(*details));
            return results(StoreIndex_SaveAndClose(&index, save, withBlock, block, details), 1);
        };
        if (letter >= '1' && letter <= '7') {
            return results(StoreIndex_Open(&index, letter - '0'),
                           model_.Open(object, letter - '0'));
        }
        const std::string a = Id("A");
        const std::string b = Id("B");
        const std::string torn = Index({{a, 6, {{"CC", "y"}}}, {b, 7, {}}});
        const std::map<char, std::pair<std::string, std::string>> written{
            {'m', {"_CHANGE.DTY", ""}},
            {'h', {"_CACHED.DTY", ""}},
            {'k', {StoreModel::BlockName(object.type), ""}},
            {'o', {name, Index({{a, 5, {{"CC", "x"}}}, {b, 3, {}}})}},
            {'t', {name, torn.substr(0, torn.find(b))}},
            {'u', {name, "<BASEELEMENT LASTUID=\"x00\">" + testing::EntryText(b, 9)}},
            {'v', {name, "<BASE"}},
            {'y', {name, testing::WrittenIndex({{Id("C"), 8, {}}, {a, 4, {}}}, 9, true)}},
            {'z', {"_index.xml.bak", Index({{b, 2, {{"CC", "backup"}}}})}},
            {'Z', {"_index.xml.bak", "<BASE"}}};
        const auto file = written.find(letter);
        if (file != written.end()) Write(file->second.first, file->second.second);
        const FolderDetails details{9, 8, 7, 6};
        StoreIndex::Entry* const first = entries.FindById(a);
        switch (letter) {
            case 'c':
            case 'n':
                return results(StoreIndex_Commit(&index, letter == 'n' ? 1 : 0),
                               model_.Commit(object, letter == 'n'));
            case 's':
                return close(true, false, nullptr);
            case 'b':
                return close(true, true, nullptr);
            case 'i':
                return close(true, false, &details);
            case 'q':
                return close(false, false, nullptr);
            case 'a':
                return results(entries.Add(Id("N")) != nullptr, object.Add(Id("N")) != nullptr);
            case 'r':
                if (first != nullptr) entries.SetProperty(*first, "READ", "1");
                object.Set(a, "READ", "1");
                if (StoreIndex::Entry* const other = entries.FindById(b)) {
                    entries.SetProperty(*other, "SIZE", "-3");
                }
                object.Set(b, "SIZE", "-3");
                break;
            case 'd':
                if (first != nullptr) entries.Remove(*first);
                object.Remove(a);
                break;
            case 'F':
                entries.SetIdFilter(b);
                object.filter = b;
                break;
            case 'f':
                WriteMessages("D", kItems);
                break;
            case 'M':
                Remove("_CHANGE.DTY");
                break;
            case 'g':
                Remove(a);
                Remove(b);
                break;
            case 'x':
                Remove(name);
                break;
            case 'p':
            case 'P':
                model_.minute += letter == 'p' ? 370 : 1;
                now = kYear2020 + static_cast<std::uint64_t>(model_.minute) * kMinute;
                break;
            case 'S':
                scanFails = model_.scanFails = !scanFails;
                break;
            case 'G':
                index.folder = object.folder =
                    root_ + (index.folder.ends_with("x") ? "\\$FileRoot" : "\\Inbox");
                break;
            case 'K':
                index.folderType = object.type = index.folderType == 3 ? 0U : 3U;
                break;
            case '@':
                at_ = 1 - at_;
        }
        return "";
    }

    std::string root_;
    StoreModel model_;
    FolderIndex products_[2];
    ModelObject objects_[2];
    std::size_t at_ = 0;
    std::uint64_t ticks_ = 0;
};

class FolderModel : public ::testing::TestWithParam<FolderSettings> {};

TEST_P(FolderModel, IsWhatTheProductDoes) {
    if (!testing::IsAlone()) return;
    const testing::ScratchRegistry registry;
    const FolderSettings& settings = GetParam();
    testing::Use(settings);
    const testing::ScratchFolder root;
    for (const char* folder : {"Inbox", "$FileRoot", "MAILROOT\\PO\\F"}) {
        testing::MakePath(root.Path(folder));
    }
    SetClock(Clock);
    InstallFolderScan(FailingOrDefaultScan);
    CachedTransactionsEnabled() = true;
    for (const std::uint32_t type : kTypes) {
        testing::CompareWithModel(
            "1122356777ccnsssbiqaarrddFmmMhkffgxotuvyzZpPSGK@@", 1, 40, 12,
            [&](const std::string& text) {
                RemoveFile(root.Path("MAILROOT\\PO\\F\\_FOLDER.DAT"));
                Case run(settings, root.Path(), type);
                std::string difference;
                for (std::size_t at = 0; at < text.size() && difference.empty(); ++at) {
                    difference = run.Step(text[at]);
                }
                if (difference.empty()) difference = run.CompareFiles();
                return difference.empty() ? "" : std::to_string(type) + " " + difference;
            });
    }
}

INSTANTIATE_TEST_SUITE_P(Settings, FolderModel,
                         ::testing::Values(FolderSettings{true, true, true, false, true},
                                           FolderSettings{true, true, false, true, true},
                                           FolderSettings{false, false, true, false, true},
                                           FolderSettings{false, false, false, true, false},
                                           FolderSettings{true, false, true, true, true},
                                           FolderSettings{false, true, false, false, true}),
                         testing::SettingsName);

}  // namespace
}  // namespace tarnwick
