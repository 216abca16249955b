// The pieces of the report's page: texts that may hold anything, and the days of a year.
#include <gtest/gtest.h>

#include <random>

#include "Library/convert/TextEncoding.h"
#include "tools/admin/report/Html.h"
#include "tools/admin/report/YearStrip.h"

namespace tarnwick::admin {
namespace {

using namespace std::chrono;  // NOLINT(google-build-using-namespace): dates are written in it

// The text that a browser makes of an escaped one.
std::string Unescaped(std::string text) {
    for (const auto& [entity, letter] :
         {std::pair("&lt;", "<"), std::pair("&gt;", ">"), std::pair("&quot;", "\""),
          std::pair("&#39;", "'"), std::pair("&amp;", "&")}) {
        const std::string wanted = entity;
        for (std::size_t at = 0; (at = text.find(wanted, at)) != text.npos; ++at)
            text.replace(at, wanted.size(), letter);
    }
    return text;
}

// Every text of up to five pieces, whole characters and parts of them: what is fit for a page comes
// back, and nothing else gets into it.
TEST(HtmlText, KeepsWhatIsFitAndNothingElse) {
    const std::vector<std::string> fit{"a", "<", "&", "\"", "'", "\xC3\xA9", "\xF0\x9F\x93\x85"};
    const std::vector<std::string> unfit{
        "\xC3",         "\xA9",         "\xE2\x82",     "\xF0\x9F\x93",     "\xFF",
        "\xC0\x80",     "\xED\xA0\x80", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80",
        "\x7F",         "\xC2\x85",     "\xEF\xBF\xBE", "\xEF\xB7\x90",     "\xF0\x9F\xBF\xBF",
        "\xE2\x80\xAE", "\xE2\x81\xA6"};
    std::vector<std::string> pieces = fit;
    pieces.insert(pieces.end(), unfit.begin(), unfit.end());
    std::mt19937 random(11);
    for (int round = 0; round < 200000; ++round) {
        std::string text;
        bool isFit = true;
        for (auto length = random() % 6; length != 0; --length) {
            const std::size_t at = random() % pieces.size();
            text += pieces[at];
            isFit = isFit && at < fit.size();
        }
        const std::string escaped = HtmlText(text);
        const std::string shown = Unescaped(escaped);
        EXPECT_EQ(escaped.find_first_of("<>\"'"), escaped.npos) << escaped;
        EXPECT_TRUE(IsUtf8(escaped)) << testing::PrintToString(text);
        // Parts may make a whole character when they meet.
        const bool isReplaced = !isFit && shown.find("\xEF\xBF\xBD") != shown.npos;
        EXPECT_TRUE(isReplaced || shown == text) << testing::PrintToString(text);
        for (std::size_t at = fit.size() + 10; at < pieces.size(); ++at)
            EXPECT_EQ(escaped.find(pieces[at]), escaped.npos) << testing::PrintToString(text);
    }
    EXPECT_EQ(HtmlText(std::string_view("\0\t\r\n\x1F", 5)), "␀␉␍␊␟");
}

// Beside a count that looks at each day by itself, in years long and short and at both ends.
TEST(DayCounts, AreThoseOfEachDayByItself) {
    std::mt19937 random(12);
    for (const int number : {1901, 1970, 2024, 2026, 2038}) {
        DayCounts counts{year(number)};
        const sys_days first = year(number) / 1 / 1;
        const auto length =
            static_cast<std::size_t>((sys_days(year(number + 1) / 1 / 1) - first).count());
        std::vector<std::size_t> wanted(length);
        std::size_t touching = 0;
        for (int round = 0; round < 300; ++round) {
            const std::int64_t near = sys_seconds(first).time_since_epoch().count() +
                                      static_cast<std::int64_t>(random() % 40'000'000) - 4'000'000;
            const auto start =
                static_cast<std::int32_t>(std::clamp<std::int64_t>(near, INT32_MIN, INT32_MAX));
            const auto end = static_cast<std::int32_t>(std::clamp<std::int64_t>(
                start + static_cast<std::int64_t>(random() % 700'000) - 86'400, INT32_MIN,
                INT32_MAX));
            counts.Take(start, end);
            bool touches = false;
            for (std::size_t day = 0; day < length; ++day) {
                const std::int64_t midnight =
                    sys_seconds(first + days(day)).time_since_epoch().count();
                if (start >= midnight + 86'400 || std::max(start, end) < midnight) continue;
                ++wanted[day];
                touches = true;
            }
            touching += touches ? 1 : 0;
        }
        EXPECT_EQ(counts.Days(), wanted) << number;
        EXPECT_EQ(counts.Entries(), touching) << number;
    }
}

TEST(YearStrip, SaysWhatItShows) {
    DayCounts counts{year(2026)};
    EXPECT_EQ(YearInWords(counts), "no entries");
    const auto noon = [](int day) {
        return static_cast<std::int32_t>(1775736000 + 86400 * (day - 9));  // of April
    };
    counts.Take(noon(9), noon(9));
    EXPECT_EQ(YearInWords(counts), "1 entry on 1 day; most on 9 Apr 2026 (1)");
    counts.Take(noon(8), noon(10));
    counts.Take(noon(9), noon(9));
    EXPECT_EQ(YearInWords(counts), "3 entries on 3 days; most on 9 Apr 2026 (3)");
    Html html;
    AddYearStrip(html, "a<b", counts);
    const auto occurrences = [&html](std::string_view text) {
        std::size_t count = 0;
        for (std::size_t at = 0; (at = html.Page().find(text, at)) != html.Page().npos; ++at)
            ++count;
        return count;
    };
    EXPECT_EQ(occurrences("<rect "), 365U);
    EXPECT_EQ(occurrences(": no entries</title>"), 362U);
    // 9 April 2026 is the Thursday of the month's second week.
    EXPECT_EQ(occurrences(
                  "x=\"13\" y=\"39\" width=\"11\" height=\"11\" class=\"d2\"><title>9 Apr 2026: 3 "
                  "entries</title>"),
              1U);
}

}  // namespace
}  // namespace tarnwick::admin
