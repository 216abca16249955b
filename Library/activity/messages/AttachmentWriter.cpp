#include "Library/activity/messages/AttachmentWriter.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <span>

#include "common/Guid.h"
#include "common/Scan.h"
#include "common/Text.h"
#include "Library/activity/messages/MessageHeaderEdit.h"
#include "remote/shared/Base64.h"

namespace tarnwick {
namespace {

constexpr std::size_t kLineBufferSize = 1024;
constexpr std::size_t kBase64LineLength = 76;
constexpr std::size_t kBytesPerBase64Line = kBase64LineLength / 4 * 3;
constexpr std::size_t kBase64LinesPerBlock = 512;

constexpr std::string_view kBoundaryParameter = "boundary=";
constexpr std::string_view kDashes = "--";

bool IsContinuation(std::string_view line) {
    return !line.empty() && (line[0] == '\t' || line[0] == ' ');
}

// The boundary that a continuation line gives: from behind an opening quote, whether one stands
// there or not, up to the closing one. Without a closing quote it goes to the end of the line, so
// that the closing delimiter is still recognised by it.
std::optional<std::string> BoundaryIn(std::string_view line) {
    const std::size_t parameter = FindText(line, kBoundaryParameter);
    if (parameter == kNotFound) return std::nullopt;
    const std::size_t start = std::min(parameter + kBoundaryParameter.size() + 1, line.size());
    const std::string_view rest = line.substr(start);
    const std::size_t quote = FindByte(rest, '"');
    return std::string(rest.substr(0, quote != kNotFound ? quote : FindEither(rest, '\r', '\n')));
}

// The first `boundary`, in any case, with "--" behind it at or after `from`, or kNotFound. Dashes
// are rarer in a message than whatever letter a boundary begins with, so they are looked for.
std::size_t FindClosingText(std::string_view text, std::string_view boundary, std::size_t from) {
    for (std::size_t at = FindText(text, kDashes, from + boundary.size()); at != kNotFound;
         at = FindText(text, kDashes, at + 1)) {
        const std::size_t start = at - boundary.size();
        if (StartsWithIgnoreCase(text.substr(start), boundary)) return start;
    }
    return kNotFound;
}

std::string_view FirstPiece(std::string_view pieces) {
    return pieces.substr(0, PieceLength(pieces, kLineBufferSize - 1, FileMode::Text));
}

// Where the piece begins that holds the byte at `position`.
std::size_t PieceStart(std::string_view pieces, std::size_t position) {
    // A piece begins behind every line break. Nothing stands before the first byte, so npos + 1 = 0
    // serves there too.
    std::size_t next = pieces.substr(0, position).rfind('\n') + 1;
    std::size_t start = next;
    while (next <= position) {
        start = next;
        next += FirstPiece(pieces.substr(start)).size();
    }
    return start;
}

// One message on its way from the old file to the new one.
class AttachmentCopy {
  public:
    AttachmentCopy(ByteSource& message, const std::string& newBoundary, ByteSink& copy)
        : lines_(message, kLineBufferSize, FileMode::Text),
          copy_(copy, FileMode::Text),
          newBoundary_(newBoundary) {}

    bool Run(const AttachmentRecord& part, std::string_view data) {
        CopyHeader();
        if (multipart_) {
            CopyPartsToClosingLine();
        } else {
            CopyBodyAsPreamble();
        }
        WritePartHeader(part);
        WritePartBody(part, data);
        WriteEnd();
        return copy_.Flush() && !lines_.Failed();
    }

  private:
    using Line = std::optional<std::string_view>;

    void Put(std::initializer_list<std::string_view> texts) {
        for (const std::string_view text : texts) copy_.Write(text);
    }

    Line NextLine() {
        const Line line = lines_.NextPiece();
        if (line) lastLine_ = *line;
        return line;
    }

    void CopyHeader();
    Line CopyContentType(std::string_view first);
    std::size_t FindClosingPiece(std::string_view pieces) const;
    void CopyPartsToClosingLine();
    void CopyBodyAsPreamble();
    void WritePartHeader(const AttachmentRecord& part);
    void WritePartBody(const AttachmentRecord& part, std::string_view data);
    void WriteBase64(std::string_view data);
    void WriteEnd();

    PieceReader lines_;
    BlockWriter copy_;
    const std::string& newBoundary_;
    bool multipart_ = false;
    std::string contentType_;  // the last Content-Type field with its continuation lines
    std::string boundary_;     // of the old multipart message
    std::string lastLine_;
    std::string closingLine_;
};

void AttachmentCopy::CopyHeader() {
    Line line = NextLine();
    while (line) {
        if (StartsWithIgnoreCase(*line, "Content-Type:")) {
            line = CopyContentType(*line);
            continue;
        }
        copy_.Copy(*line);
        if (IsEmptyLine(*line)) return;
        line = NextLine();
    }
}

// Copies or replaces the field that begins with the line `first`; gives the line behind it.
AttachmentCopy::Line AttachmentCopy::CopyContentType(std::string_view first) {
    // Kept for compatibility: in these letters alone. A message in any others gets a second
    // multipart type around its own.
    multipart_ = multipart_ || FindText(first, "multipart/mixed") != kNotFound;
    contentType_ = first;
    if (multipart_) copy_.Copy(first);
    Line line = NextLine();
    for (; line && IsContinuation(*line); line = NextLine()) {
        contentType_ += *line;
        if (!multipart_) continue;
        copy_.Copy(*line);
        if (auto boundary = BoundaryIn(*line)) boundary_ = std::move(*boundary);
    }
    if (!multipart_) {
        Put({"Content-Type: multipart/mixed;\n\tboundary=\"", newBoundary_, "\"\n"});
    }
    return line;
}

// Where the piece begins that holds the closing delimiter, or kNotFound.
std::size_t AttachmentCopy::FindClosingPiece(std::string_view pieces) const {
    for (std::size_t at = FindClosingText(pieces, boundary_, 0); at != kNotFound;
         at = FindClosingText(pieces, boundary_, at + 1)) {
        // One that two pieces share is in neither.
        const std::size_t start = PieceStart(pieces, at);
        if (PieceStart(pieces, at + boundary_.size() + kDashes.size() - 1) == start) {
            return start;
        }
    }
    return kNotFound;
}

// Kept for compatibility: a boundary that stood on the Content-Type line itself is not known here,
// and the first line with "--" counts as the closing one.
void AttachmentCopy::CopyPartsToClosingLine() {
    while (const Line pieces = lines_.NextPieces()) {
        const std::size_t closing = FindClosingPiece(*pieces);
        copy_.Copy(pieces->substr(0, closing));
        if (closing == kNotFound) continue;
        // Kept for compatibility: what follows this line, the epilogue, is dropped.
        closingLine_ = FirstPiece(pieces->substr(closing));
        break;
    }
    Put({kDashes, boundary_, "\n"});
}

// Kept for compatibility: the old body stays in front of the first boundary, and the part that
// should hold it holds its field and its last line only. Without a field the boundary is not
// declared anywhere.
void AttachmentCopy::CopyBodyAsPreamble() {
    while (const Line pieces = lines_.NextPieces()) {
        copy_.Copy(*pieces);
        lastLine_ = pieces->substr(PieceStart(*pieces, pieces->size() - 1));
    }
    Put({kDashes, newBoundary_, "\n"});
    copy_.Copy(contentType_);
    Put({"\n"});
    copy_.Copy(lastLine_);
    Put({"\n--", newBoundary_, "\n"});
}

void AttachmentCopy::WriteEnd() {
    Put({"\n"});
    if (multipart_) {
        copy_.Copy(closingLine_);
    } else {
        Put({kDashes, newBoundary_, "--\n"});
    }
}

// The encoding that a part declares.
std::string_view DeclaredEncoding(const AttachmentRecord& part) {
    if (part.transferEncoding != nullptr) return part.transferEncoding;
    const bool text =
        part.contentType != nullptr && StartsWithIgnoreCase(part.contentType, "text/");
    return text ? "quoted-printable" : "base64";
}

void AttachmentCopy::WritePartHeader(const AttachmentRecord& part) {
    Put({"Content-Type: ",
         part.contentType != nullptr ? part.contentType : "application/octet-stream"});
    if (part.name != nullptr) Put({";\n\tname=\"", part.name, "\""});
    Put({"\nContent-Transfer-Encoding: ", DeclaredEncoding(part), "\n"});
    if (part.contentId != nullptr) Put({"Content-ID: ", part.contentId, "\n"});
    if (part.disposition != nullptr) Put({"Content-Disposition: ", part.disposition, "\n"});
    Put({"\n"});
}

// Kept for compatibility: a part declared as quoted-printable holds base64 all the same.
void AttachmentCopy::WritePartBody(const AttachmentRecord& part, std::string_view data) {
    const std::string_view encoding = DeclaredEncoding(part);
    if (encoding == "base64" || encoding == "quoted-printable") {
        WriteBase64(data);
    } else {
        // Whoever names another encoding, in these letters or not, has encoded the data.
        copy_.Write(data);
    }
}

// Whole lines have no padding, so that blocks of lines join to the encoding of the whole. No bytes
// give no line, not an empty one.
void AttachmentCopy::WriteBase64(std::string_view data) {
    constexpr std::size_t kBlock = kBytesPerBase64Line * kBase64LinesPerBlock;
    std::string text(kBase64LineLength * kBase64LinesPerBlock + 1, '\0');
    for (; !data.empty(); data.remove_prefix(std::min(data.size(), kBlock))) {
        const auto bytes = std::as_bytes(std::span(data.substr(0, kBlock)));
        std::string_view rest(text.data(), static_cast<std::size_t>(Base64Encode(bytes, text)));
        for (; !rest.empty(); rest.remove_prefix(std::min(rest.size(), kBase64LineLength))) {
            Put({rest.substr(0, kBase64LineLength), "\n"});
        }
    }
}

}  // namespace

std::string BoundaryText(const Guid& guid) {
    const auto& tail = guid.data4;
    char text[33];
    std::snprintf(text, sizeof text, "%08X%04X%04X%02X%02X%02X%02X%02X%02X%02X%02X", guid.data1,
                  guid.data2, guid.data3, tail[0], tail[1], tail[2], tail[3], tail[4], tail[5],
                  tail[6], tail[7]);
    return text;
}

bool CopyWithAttachment(ByteSource& message, const AttachmentRecord& part, std::string_view data,
                        const std::string& newBoundary, ByteSink& copy) {
    return AttachmentCopy(message, newBoundary, copy).Run(part, data);
}

}  // namespace tarnwick
