#include "tools/admin/MessageDump.h"

#include <algorithm>

#include "common/Text.h"
#include "common/TextFile.h"
#include "tools/admin/MimeOutline.h"

namespace tarnwick::admin {
namespace {

// The buffer of the header operations; a longer line comes in pieces.
constexpr std::size_t kLineBuffer = 2048;

bool HasBreak(std::string_view piece) {
    return piece.ends_with('\n');
}

std::string_view WithoutBreak(std::string_view line) {
    return line.substr(0, line.find_last_not_of("\r\n") + 1);
}

class MessageWalk {
  public:
    explicit MessageWalk(std::string_view bytes) : bytes_(bytes) {}

    std::vector<DumpRow> Run() {
        const std::vector<MimePart> parts = MimeOutline(bytes_);
        for (std::size_t at = 0; at < parts.size(); ++at) {
            const MimePart& part = parts[at];
            const bool isWhole = part.number == "0";
            TakeGap(part.offset);
            TakeHeader(part.body, isWhole ? "" : "part " + part.number + ": ");
            const bool hasParts = at + 1 < parts.size() && parts[at + 1].depth > part.depth;
            if (!hasParts) Add(part.body + part.length, BodyMeaning(part));
        }
        TakeGap(bytes_.size());
        return std::move(rows_);
    }

  private:
    void Add(std::size_t end, std::string meaning) {
        if (end <= at_) return;
        rows_.push_back({at_, end - at_, std::move(meaning)});
        at_ = end;
    }

    // Boundaries and what stands with them outside of the parts.
    void TakeGap(std::size_t end) {
        while (at_ < end) {
            const std::size_t lineEnd = std::min(bytes_.find('\n', at_), end - 1) + 1;
            const std::string_view line = WithoutBreak(bytes_.substr(at_, lineEnd - at_));
            Add(lineEnd, line.empty()             ? "line end"
                         : line.starts_with("--") ? "boundary: " + QuotedBriefly(line)
                                                  : "of no part: " + QuotedBriefly(line));
        }
    }

    void TakeHeader(std::size_t end, const std::string& prefix) {
        if (end <= at_) return;
        LineReader lines(bytes_.substr(0, end).substr(at_), kLineBuffer);
        bool isContinued = false;
        const std::size_t begin = at_;
        while (const auto piece = lines.NextPiece()) {
            const bool isEmpty = piece->front() == '\r' || piece->front() == '\n';
            Add(begin + lines.Position(), prefix + MeaningOf(*piece, isContinued));
            if (isEmpty) break;
            isContinued = !HasBreak(*piece);
        }
        Add(end, prefix + "behind what ends the header for the store");
    }

    static std::string MeaningOf(std::string_view piece, bool isContinued) {
        if (piece.front() == '\r' || piece.front() == '\n') return "empty line: the header ends";
        const std::string text = QuotedBriefly(WithoutBreak(piece));
        if (isContinued) return "rest of a long line, a line of its own for the store: " + text;
        if (piece.front() == ' ' || piece.front() == '\t') return "continued: " + text;
        if (StartsWithIgnoreCase(piece, "X-UID: ")) return "the store's UID: " + text;
        if (StartsWithIgnoreCase(piece, "X-TWTempFlags: ")) return "the store's flags: " + text;
        const std::size_t colon = piece.find(':');
        return colon == piece.npos ? "no field: " + text : "field: " + text;
    }

    static std::string BodyMeaning(const MimePart& part) {
        return (part.number == "0" ? "body: " : "body of part " + part.number + ": ") + part.type +
               (part.encoding.empty()
                    ? ""
                    : ", " + part.encoding + " of " + std::to_string(part.decoded) + " bytes") +
               (part.name.empty() ? "" : ", " + QuotedBriefly(part.name)) +
               (part.problem.empty() ? "" : "; " + part.problem);
    }

    std::string_view bytes_;
    std::size_t at_ = 0;
    std::vector<DumpRow> rows_;
};

}  // namespace

std::vector<DumpRow> DumpMessage(std::string_view bytes) {
    return MessageWalk(bytes).Run();
}

}  // namespace tarnwick::admin
