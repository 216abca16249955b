#include "Library/activity/messages/MessageHeaderEdit.h"

#include <algorithm>

#include "common/Text.h"

namespace tarnwick {
namespace {

FieldRule* RuleFor(std::string_view line, std::span<FieldRule> rules) {
    for (FieldRule& rule : rules) {
        if (StartsWithIgnoreCase(line, rule.key)) return &rule;
    }
    return nullptr;
}

void CopyLine(std::string_view line, FieldRule* rule, BlockWriter& copy) {
    if (rule != nullptr) rule->seen = true;
    if (rule == nullptr || rule->fate == FieldFate::Keep) copy.Copy(line);
    if (rule != nullptr && rule->fate == FieldFate::Replace) copy.Write(rule->line);
}

void AddMissing(std::span<const FieldRule> rules, BlockWriter& copy) {
    for (const FieldRule& rule : rules) {
        if (!rule.seen) copy.Write(rule.line);
    }
}

bool AnySeen(std::span<const FieldRule> rules) {
    return std::any_of(rules.begin(), rules.end(), [](const FieldRule& rule) { return rule.seen; });
}

// Copies header lines by `rules` up to the empty line, which is written behind what was missing.
// False when the lines ended before. Marks the rules whose lines were seen.
bool CopyHeader(PieceReader& lines, std::span<FieldRule> rules, BlockWriter& copy) {
    while (const auto line = lines.NextPiece()) {
        if (IsEmptyLine(*line)) {
            AddMissing(rules, copy);
            copy.Copy(*line);
            return true;
        }
        CopyLine(*line, RuleFor(*line, rules), copy);
    }
    return false;
}

}  // namespace

bool IsEmptyLine(std::string_view line) {
    return !line.empty() && (line[0] == '\r' || line[0] == '\n');
}

bool HasHeaderField(ByteSource& message, std::size_t lineBufferSize, std::string_view key) {
    PieceReader lines(message, lineBufferSize, FileMode::Binary);
    while (const auto line = lines.NextPiece()) {
        if (IsEmptyLine(*line)) return false;
        if (StartsWithIgnoreCase(*line, key)) return true;
    }
    return false;
}

CopyResult CopyMessage(ByteSource& message, const CopyRules& rules, std::span<FieldRule> fields,
                       ByteSink& sink) {
    PieceReader lines(message, rules.lineBufferSize, FileMode::Binary);
    BlockWriter copy(sink, FileMode::Binary);
    const bool hadEmptyLine = CopyHeader(lines, fields, copy);
    if (lines.Failed()) return CopyResult::Failed;
    if (rules.onlyWhenSeen && !AnySeen(fields)) return CopyResult::NotWanted;
    while (const auto body = lines.NextPieces()) copy.Copy(*body);
    if (!hadEmptyLine && rules.addWithoutEmptyLine) AddMissing(fields, copy);
    return copy.Flush() && !lines.Failed() ? CopyResult::Complete : CopyResult::Failed;
}

}  // namespace tarnwick
