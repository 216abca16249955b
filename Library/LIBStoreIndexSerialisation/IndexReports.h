// What is reported of index files: to whom, and the texts for what may be wrong with one. Operators
// and their tools look for these texts.
#pragma once

#include <string_view>

#include "common/Reports.h"

namespace tarnwick {

inline void ReportIndexProblem(std::string_view message) {
    Trace(message);
    Report(ReportChannel::EventLogError, message);
}

}  // namespace tarnwick

namespace tarnwick::malformation {

inline constexpr std::string_view kSecondRootStart =
    "Encountered root element start tag after already encountering a root element start tag";
inline constexpr std::string_view kRootEndBeforeStart =
    "Encountered root element end tag before root element start tag";
inline constexpr std::string_view kSecondRootEnd =
    "Encountered root element end tag after already encountering a root element end tag";
inline constexpr std::string_view kNoRootStart = "Did not find root element start tag";
inline constexpr std::string_view kNoRootEnd = "Did not find root element end tag";

inline constexpr std::string_view kEntryBeforeRoot =
    "Encountered element tag before encountering a root element start tag";
inline constexpr std::string_view kEntryAfterRoot =
    "Encountered element tag after already encountering a root element end tag";
inline constexpr std::string_view kEntryInProperty =
    "Encountered element start tag nested within a property (";  // name )
inline constexpr std::string_view kEntryInEntry =
    "Encountered element start tag nested within another element";
inline constexpr std::string_view kEntryEndAlone =
    "Encountered element end tag before encountering a matching element start tag";
inline constexpr std::string_view kEntryWithoutId = "Encountered element start tag without an ID";
inline constexpr std::string_view kBadAttribute = "Unable to parse ID attribute, Tag=[";  // tag ]

// uid, previous uid, last uid
inline constexpr std::string_view kUidOrder =
    "Encountered element with UID out of order. This UID=";
inline constexpr std::string_view kPreviousUid = ", Previous UID=";
inline constexpr std::string_view kLargestUid = ", Largest/Last UID=";

inline constexpr std::string_view kPropertyTag = "Encountered property tag (";  // name
inline constexpr std::string_view kBeforeRoot = ") before encountering a root element start tag";
inline constexpr std::string_view kAfterRoot =
    ") after already encountering a root element end tag";
inline constexpr std::string_view kOutsideEntry = ") outside an element";
inline constexpr std::string_view kPropertyStart = "Encountered property start tag (";  // name
inline constexpr std::string_view kInProperty = ") nested within another property (";   // open )
inline constexpr std::string_view kPropertyEnd = "Encountered property end tag (";      // name
inline constexpr std::string_view kNoMatch =
    ") that does not match previous property start tag (";  // open )

// Bounds that no index reaches, so that damage cannot fill the memory.
inline constexpr std::string_view kTextTooLong =
    "Encountered property text longer than 16777216 bytes (";  // name )
inline constexpr std::string_view kFileTooLong = "Index is longer than 4294967295 bytes";

}  // namespace tarnwick::malformation
