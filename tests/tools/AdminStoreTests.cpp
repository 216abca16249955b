#include <gtest/gtest.h>

#include <map>
#include <random>

#include "common/Reports.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "tools/admin/archive/ZipWriter.h"
#include "tools/admin/Failure.h"
#include "tools/admin/IndexPieces.h"

namespace tarnwick::admin {
namespace {

class SilentReports : public ReportSink {
  public:
    SilentReports() { SetReportSink(this); }
    ~SilentReports() override { SetReportSink(nullptr); }
    void Report(ReportChannel, std::string_view) override {}
};

struct Placed {
    std::size_t begin;
    std::size_t end;
};

// Whatever is cut out of an index, written over it or put into it: what lies outside is kept, byte
// for byte, and the pieces cover the file.
TEST(IndexSalvage, KeepsEveryEntryThatIsWhole) {
    const SilentReports silence;
    std::mt19937 random(7);
    const auto upTo = [&](std::size_t limit) { return random() % (limit + 1); };
    for (int round = 0; round < 4000; ++round) {
        std::string file = IndexHeader(40);
        std::map<std::string, Placed> entries;
        for (std::size_t uid = 1 + upTo(2); uid < 9; uid += 1 + upTo(2)) {
            std::string text = "<ELEMENT ID=\"M" + std::to_string(uid) + ".MAI\" UID=\"" +
                               std::to_string(uid) + "\">";
            for (const char* name : {"FROM", "READ", "SUBJECT"}) {
                if (upTo(1) != 0)
                    text.append("<").append(name).append(">a &lt; b</") += name + std::string(">");
            }
            text += kEntryEnd;
            entries[text] = {file.size(), file.size() + text.size()};
            file += text;
        }
        file += kTrailer;
        const std::size_t begin = upTo(file.size());
        const std::size_t end = begin + upTo(std::min<std::size_t>(file.size() - begin, 90));
        std::string damage(upTo(1) == 0 ? 0 : upTo(60), ' ');
        for (char& byte : damage) byte = "<>/\"=EM \0&;?!-x1"[upTo(15)];
        file.replace(begin, end - begin, damage);
        SalvagedIndex salvaged = SalvageIndex(file);
        std::map<std::string, bool> kept;
        ByteBuffer written;
        for (const StoreIndex::Entry& entry : salvaged.entries.InUidOrder()) {
            written.Clear();
            AppendIndexElement(written, entry);
            kept[std::string(written.View())] = true;
            const bool isCounted = salvaged.isSound || entry.Uid() <= salvaged.entries.LastUid();
            EXPECT_TRUE(isCounted) << file;
        }
        for (const auto& [text, place] : entries) {
            const bool isTouched = place.begin < end && begin < place.end;
            const bool isSplit = place.begin < begin && begin < place.end;
            EXPECT_TRUE(isTouched || isSplit || kept[text]) << text << "\n" << file;
        }
        const auto isBlank = [](std::string_view text) {
            return text.find_first_not_of(" \t\r\n") == text.npos;
        };
        std::size_t covered = 0;
        for (const IndexPiece& piece : TakeApartIndex(file)) {
            EXPECT_TRUE(isBlank(file.substr(covered, piece.offset - covered)));
            covered = piece.offset + piece.length;
        }
        EXPECT_TRUE(isBlank(file.substr(covered)));
    }
}

TEST(ZipWriter, RefusesWhatNoPlainZipHolds) {
    ZipWriter writer([](std::string_view) {});
    for (int count = 0; count < 65534; ++count) {
        writer.Begin("f", {});
        writer.End();
    }
    EXPECT_THROW(writer.Begin("f", {}), Failure);
    ZipWriter another([](std::string_view) {});
    another.Begin("f", {});
    another.Write("1");
    // None of these bytes is looked at.
    EXPECT_THROW(another.Write(std::string_view("", 0xFFFFFFFE)), Failure);
}

}  // namespace
}  // namespace tarnwick::admin
