#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <map>
#include <sstream>

#include "provider/CalendarBucketName.h"
#include "tests/support/Model.h"
#include "tools/admin/store/ActivityInspection.h"
#include "tools/admin/store/CalendarInspection.h"
#include "tools/admin/store/IndexInspection.h"

namespace tarnwick::admin {
namespace {

using tarnwick::testing::ExpectAgreement;

using Pieces = std::vector<std::string>;

std::string Joined(const Pieces& pieces) {
    std::string text;
    for (const std::string& piece : pieces) text += piece;
    return text;
}

// Cases of up to 40 of the pieces.
auto PiecesOf(const Pieces& alphabet) {
    return [alphabet](std::mt19937& random) {
        Pieces pieces(random() % 40);
        for (std::string& piece : pieces) piece = alphabet[random() % alphabet.size()];
        return pieces;
    };
}

std::string Lower(std::string text) {
    for (char& letter : text) letter = static_cast<char>(std::tolower(letter));
    return text;
}

// The findings of a calendar of the day 2025-03-01, as its page says them: "code@line ...".
std::string NaiveFindings(const std::string& bytes) {
    const std::string text = bytes.substr(0, bytes.find('\x1A'));
    const auto isNumber = [](const std::string& digits) {
        return digits.size() <= (digits.starts_with('-') ? 19 : 18) &&
               digits == std::to_string(std::strtoll(digits.c_str(), nullptr, 10));
    };
    std::ostringstream findings;
    std::istringstream lines(text + (text.ends_with('\n') ? "\n" : ""));
    std::map<std::string, int> seen;
    int at = 0;
    const auto codeOf = [&](const std::string& line) -> std::string {
        const std::size_t first = line.find('\t');
        const std::size_t second = line.find('\t', first + 1);
        if (line.empty()) return "line-empty";
        if (line.size() > 1023) return "line-too-long";
        const bool hasNul = line.find('\0') != line.npos;
        if (first == line.npos || second == line.npos || hasNul) return "line-torn";
        const std::string start = line.substr(0, first);
        const std::string end = line.substr(first + 1, second - first - 1);
        const std::string id = line.substr(second + 1);
        const bool hasControl = std::any_of(id.begin(), id.end(), [](char letter) {
            return static_cast<unsigned char>(letter) < 32 || letter == 127;
        });
        if (id.empty() || id.size() > 63 || hasControl) return "id-odd";
        const bool isFirst = seen.emplace(Lower(id), at).second;
        if (!isNumber(start) || !isNumber(end)) return "number-odd";
        const long long from = std::stoll(start);
        const long long until = std::stoll(end);
        for (const long long time : {from, until}) {
            if (time != static_cast<std::int32_t>(time)) return "time-wrapped";
        }
        if (from < -1000000000 || (from >= 0 && until < 0)) return "time-wrapped";
        if (from > until) return "start-after-end";
        if (from < 1740787200 || until > 1740873599) return "wrong-calendar";
        return isFirst ? "" : "id-doubled";
    };
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with('\r') && !(lines.eof() && !text.ends_with('\n'))) line.pop_back();
        ++at;
        const std::string code = codeOf(line);
        if (!code.empty()) findings << code << "@" << at << " ";
    }
    if (text.size() + 1 < bytes.size()) findings << "lines-hidden@" << at << " ";
    return findings.str();
}

std::string Findings(const std::vector<LineProblem>& problems) {
    std::ostringstream findings;
    for (const LineProblem& problem : problems) {
        findings << KindOf(problem.problem).code << "@" << problem.line << " ";
    }
    return findings.str();
}

TEST(CalendarInspection, FindsWhatANaiveReaderFinds) {
    CalendarInspection inspection;
    const Pieces alphabet{"\t",
                          "\t",
                          "\t",
                          "\t",
                          "\t",
                          "\t",
                          "\r\n",
                          "\r\n",
                          "\n",
                          "\r",
                          "a",
                          "A",
                          "b",
                          "1740787200",
                          "1740873599",
                          "0",
                          "-1",
                          "-1000000001",
                          "2147483648",
                          "1740800000\t1740800001\ta",
                          "1740800000\t1740800001\tB",
                          "\x1A",
                          std::string(1, '\0'),
                          "\x7F",
                          "\xE9",
                          std::string(64, 'x'),
                          std::string(1020, 'y')};
    ExpectAgreement(8000, PiecesOf(alphabet), [&](const Pieces& pieces) -> std::string {
        const std::string bytes = Joined(pieces);
        inspection.Run(bytes, "y25m03d01");
        const std::string found = Findings(inspection.Problems());
        if (found != NaiveFindings(bytes)) return found + "instead of " + NaiveFindings(bytes);
        const std::string whole = WholeLines(bytes);
        return IsWholeCalendar(whole) ? "" : "its whole lines are not whole: " + whole;
    });
}

TEST(CalendarInspection, KnowsTheNamesThatDatesGive) {
    const std::vector<std::int32_t> times{
        0, -1, 800'000'000, 1'111'111'111, 1'740'787'200, 2'147'483'647};
    for (const std::int32_t start : times) {
        for (const std::int32_t length : {0, 86'400, 2'700'000, 40'000'000}) {
            if (start > 2'147'483'647 - length) continue;
            char name[64];
            MakeCalendarBucketName(start, start + length, name);
            EXPECT_TRUE(IsBucketName(name)) << name;
        }
    }
    for (const char* name :
         {"", "X", "Y123", "Y25M", "Y25M1", "Y25M01D", "Y25M01D011", "Y2M01", "Year"}) {
        EXPECT_FALSE(IsBucketName(name)) << name;
    }
}

// The place of a malformation is that of the first tag without which the file is not malformed so.
TEST(IndexInspection, PlacesAMalformationWhereItBegins) {
    const Pieces alphabet{"<BASEELEMENT LASTUID=\"x00000007\">",
                          "</BASEELEMENT>\r\n",
                          "<ELEMENT ID=\"a\" UID=\"3\">",
                          "<ELEMENT ID=\"b\" UID=\"2\">",
                          "<ELEMENT ID=\"--\" UID=\"-\">",
                          "</ELEMENT>",
                          "</ELEMENT>",
                          "<P>",
                          "</P>",
                          "<Q>",
                          "text",
                          "<",
                          ">"};
    IndexInspection inspection;
    const auto make = [&](std::mt19937& random) {
        Pieces pieces = PiecesOf(alphabet)(random);
        pieces.insert(pieces.begin(), alphabet[0]);
        return pieces;
    };
    ExpectAgreement(1500, make, [&](const Pieces& pieces) -> std::string {
        const std::string bytes = Joined(pieces);
        inspection.Run(bytes, 500);
        if (inspection.Loads()) return "";
        const ByteProblem problem = inspection.Problems().front();
        if (problem.detail == "Did not find root element end tag") {
            return problem.offset == bytes.size() ? "" : "it is at the end";
        }
        const auto detailOf = [&](std::size_t length) -> std::string {
            inspection.Run(std::string_view(bytes).substr(0, length), 500);
            return inspection.Loads() ? "" : inspection.Problems().front().detail;
        };
        const std::size_t tagEnd = bytes.find('>', problem.offset);
        if (bytes[problem.offset] != '<' || tagEnd == bytes.npos) return "no tag stands there";
        if (detailOf(tagEnd + 1) != problem.detail) return "it is further on";
        return detailOf(problem.offset) == problem.detail ? "it is before" : "";
    });
}

TEST(ActivityInspection, NothingIsWrongWithWhatIsKept) {
    const Pieces alphabet{"\t",
                          "\r\n",
                          "\n",
                          "srv\tIMAP\tbob\t::1\t143\t1700000000\tInbox\t7\trun2",
                          "SRV\tIMAP-2\tbob\t::1\t143\t1600000000\tInbox\t7\trun1",
                          "short",
                          "\x1A",
                          "x",
                          std::string(1020, 'y')};
    ExpectAgreement(1500, PiecesOf(alphabet), [](const Pieces& pieces) {
        return Findings(InspectActivity(KeptActivity(Joined(pieces))));
    });
}

}  // namespace
}  // namespace tarnwick::admin
