#include "tools/admin/report/StorePage.h"

#include <algorithm>
#include <functional>
#include <map>
#include <utility>

#include "tools/admin/Console.h"
#include "tools/admin/EntryText.h"
#include "tools/admin/report/Html.h"
#include "tools/admin/report/PageStyle.h"
#include "tools/admin/report/YearStrip.h"
#include "tools/admin/StoreCare.h"
#include "tools/admin/Times.h"

namespace tarnwick::admin {
namespace {

// Of a mailbox; with 5 of each kind the others are no longer news.
constexpr std::size_t kShownOfAKind = 5;

// The findings of a mailbox, or of a folder outside of all, by their kinds.
using ByKind = std::map<Problem, std::vector<const Finding*>>;
using ByMailbox = std::map<MailboxName, ByKind>;

ByMailbox Grouped(const std::vector<Finding>& findings) {
    ByMailbox groups;
    for (const Finding& finding : findings) {
        groups[{finding.place, finding.root}][finding.problem].push_back(&finding);
    }
    return groups;
}

std::string NameText(const MailboxName& name) {
    if (name.place.empty()) return "outside of mailboxes";
    return ToUtf8(name.place + (name.root.empty() ? "" : " in " + name.root));
}

// "1,234,567"
std::string WithCommas(std::uint64_t number) {
    std::string text = std::to_string(number);
    for (std::size_t at = text.size(); at > 3;) text.insert(at -= 3, ",");
    return text;
}

std::string TimeText(std::int64_t time) {
    const auto seconds = static_cast<std::int32_t>(time);
    const auto day =
        std::chrono::floor<std::chrono::days>(std::chrono::sys_seconds(std::chrono::seconds(time)));
    return ShortDate(day) + ", " + FormatTime(seconds).substr(11, 5) + " UTC";
}

Html::Element OpenCard(Html& html, const char* id, const std::string& title) {
    return html.Open("section", {{"class", "card"}, {"id", id}, {"aria-label", title}});
}

// A problem or risk with what it means and the command that mends it.
struct ShownAdvice {
    const char* code;
    bool isProblem = true;
    std::string where;
    std::string means;
    std::string mend;
};

void AddAdvice(Html& html, const ShownAdvice& advice) {
    const Html::Element item = html.Open("li");
    {
        const Html::Element line = html.Open("p");
        html.Add("code", {{"class", advice.isProblem ? "tag" : "tag risk"}}, advice.code);
        html.Add("code", {{"class", "where"}}, ToUtf8(advice.where));
    }
    html.Add("p", ToUtf8(advice.means));
    html.Add("pre", ToUtf8(advice.mend));
}

class Page {
  public:
    explicit Page(const StoreReport& report) : report_(report), groups_(Grouped(report.findings)) {}

    std::string Make() {
        {
            const Html::Element root = html_.Open("html", {{"lang", "en"}});
            AddHead();
            const Html::Element body = html_.Open("body");
            AddHeader();
            {
                const Html::Element main = html_.Open("main");
                AddProblems();
                AddMailboxes();
                AddYears();
                AddBlocks();
                AddMachine();
            }
            html_.Add("footer",
                      "Made by tarnwick-admin " TARNWICK_VERSION ". Days and times are in UTC.");
        }
        return html_.Page();
    }

  private:
    void AddHead();
    void AddHeader();
    void AddVerdict();
    void AddNumbers();
    void AddProblems();
    void AddKinds();
    void AddGroup(const MailboxName& name, const ByKind& kinds);
    void AddMailboxes();
    void AddYears();
    void AddBlocks();
    void AddMachine();
    void AddAdviceOf(bool isProblem, const char* title);
    void AddSettings();

    std::string YearText() const { return std::to_string(static_cast<int>(report_.year)); }

    const StoreReport& report_;
    ByMailbox groups_;
    Html html_;
};

void Page::AddHead() {
    const Html::Element head = html_.Open("head");
    html_.AddVoid("meta", {{"charset", "utf-8"}});
    html_.AddVoid("meta",
                  {{"name", "viewport"}, {"content", "width=device-width, initial-scale=1"}});
    html_.AddVoid("meta", {{"name", "color-scheme"}, {"content", "light dark"}});
    html_.Add("title", "Mail store " + ToUtf8(report_.folder) + ", " + TimeText(report_.time));
    html_.Style(PageStyle());
}

void Page::AddHeader() {
    const Html::Element header = html_.Open("header");
    html_.Add("h1", "Mail store report");
    {
        const Html::Element about = html_.Open("p", {{"class", "about"}});
        html_.Add("code", ToUtf8(report_.folder));
        html_.Text("\u00B7 " + TimeText(report_.time));
    }
    AddVerdict();
    AddNumbers();
    const Html::Element navigation = html_.Open("nav", {{"aria-label", "Parts of the page"}});
    const Html::Element list = html_.Open("ul");
    for (const auto& [target, text] :
         {std::pair("#problems", "Problems"), std::pair("#mailboxes", "Mailboxes"),
          std::pair("#year", "Year"), std::pair("#locks", "Locks"),
          std::pair("#machine", "Machine and settings")}) {
        const Html::Element item = html_.Open("li");
        html_.Add("a", {{"href", target}}, text);
    }
}

void Page::AddVerdict() {
    const std::size_t inStore = report_.findings.size();
    const std::size_t ofMachine = report_.MachineProblems();
    if (inStore + ofMachine == 0) {
        return html_.Add("p", {{"class", "verdict good"}}, "No problem found.");
    }
    std::string text;
    if (inStore != 0) text = Counted(inStore, "problem", "problems") + " in the store";
    if (ofMachine != 0) {
        text += (text.empty() ? "" : ", ") + Counted(ofMachine, "problem", "problems") +
                " of this machine";
    }
    html_.Add("p", {{"class", "verdict bad"}}, text + ".");
}

void Page::AddNumbers() {
    std::uint64_t entries = 0;
    for (const auto& [name, mailbox] : report_.census) entries += mailbox.entries;
    const std::size_t risks = report_.advice.size() - report_.MachineProblems();
    struct Number {
        const char* one;
        const char* several;
        std::uint64_t number;
    };
    const Html::Element list = html_.Open("ul", {{"class", "numbers"}});
    for (const auto& [one, several, number] : std::initializer_list<Number>{
             {"problem", "problems", report_.findings.size() + report_.MachineProblems()},
             {"mailbox", "mailboxes", report_.Mailboxes()},
             {"entry", "entries", entries},
             {"lock", "locks", report_.blocks.size()},
             {"risk", "risks", risks}}) {
        const Html::Element item = html_.Open("li");
        html_.Add("b", WithCommas(number));
        html_.Text(number == 1 ? one : several);
    }
}

void Page::AddProblems() {
    const Html::Element card = OpenCard(html_, "problems", "Problems");
    html_.Add("h2", "Problems in the store");
    if (groups_.empty()) {
        return html_.Add("p", {{"class", "quiet"}}, "check finds nothing wrong with its files.");
    }
    AddKinds();
    for (const auto& [name, kinds] : groups_) AddGroup(name, kinds);
}

void Page::AddKinds() {
    struct Total {
        const char* code = "";
        std::size_t findings = 0;
        std::size_t places = 0;
    };
    std::map<Problem, Total> byKind;
    for (const auto& [name, kinds] : groups_) {
        for (const auto& [problem, findings] : kinds) {
            Total& total = byKind[problem];
            total.code = KindOf(problem).code;
            total.findings += findings.size();
            ++total.places;
        }
    }
    std::vector<Total> totals;
    for (const auto& [problem, total] : byKind) totals.push_back(total);
    std::ranges::stable_sort(totals, std::greater(), &Total::findings);
    std::vector<std::vector<std::string>> rows;
    for (const auto& [code, findings, places] : totals) {
        rows.push_back({code, WithCommas(findings), WithCommas(places)});
    }
    AddTable(html_, "Problems by kind",
             {{"Kind"}, {"Problems", true}, {"Mailboxes or folders", true}}, rows,
             {"all", WithCommas(report_.findings.size()), WithCommas(groups_.size())});
}

void Page::AddGroup(const MailboxName& name, const ByKind& kinds) {
    std::size_t count = 0;
    for (const auto& [problem, findings] : kinds) count += findings.size();
    {
        const Html::Element title = html_.Open("h3");
        html_.Text(NameText(name));
        html_.Add("span", {{"class", "count"}}, " " + Counted(count, "problem", "problems"));
    }
    const Html::Element list = html_.Open("ul", {{"class", "findings"}});
    for (const auto& [problem, findings] : kinds) {
        const char* const code = KindOf(problem).code;
        const std::size_t shown = std::min(findings.size(), kShownOfAKind);
        for (std::size_t at = 0; at < shown; ++at) {
            const Finding& finding = *findings[at];
            AddAdvice(html_, {code, true, finding.PlaceText(), finding.Means(),
                              MendCommand(finding, report_.root)});
        }
        if (shown == findings.size()) continue;
        const Html::Element item = html_.Open("li");
        html_.Text("and " + WithCommas(findings.size() - shown) + " more ");
        html_.Add("code", {{"class", "tag"}}, code);
        html_.Add("pre", ToUtf8(OnRoot("tarnwick-admin check " + Quoted(name.place),
                                       name.root.empty() ? report_.root : name.root)));
    }
}

void Page::AddMailboxes() {
    const Html::Element card = OpenCard(html_, "mailboxes", "Mailboxes");
    html_.Add("h2", "Mailboxes");
    std::vector<std::vector<std::string>> rows;
    MailboxCensus all(report_.year);
    const auto row = [](const std::string& name, std::size_t problems, const MailboxCensus& of) {
        std::vector<std::string> cells{name};
        for (const std::uint64_t number : {std::uint64_t{problems}, of.calendars, of.calendarBytes,
                                           of.entries, of.items, of.itemBytes, of.indexBytes}) {
            cells.push_back(WithCommas(number));
        }
        return cells;
    };
    std::size_t problemsShown = 0;
    for (const auto& [name, mailbox] : report_.census) {
        all.Add(mailbox);
        std::size_t problems = 0;
        if (const auto group = groups_.find(name); group != groups_.end()) {
            for (const auto& [problem, findings] : group->second) problems += findings.size();
        }
        problemsShown += problems;
        if (!name.place.empty()) rows.push_back(row(NameText(name), problems, mailbox));
    }
    const auto outside = report_.census.find(MailboxName());
    const std::size_t problemsOutside = report_.findings.size() - problemsShown;
    if (outside != report_.census.end() &&
        (outside->second.indexBytes != 0 || problemsOutside != 0)) {
        rows.push_back(row(NameText({}), problemsOutside, outside->second));
    }
    if (rows.empty()) return html_.Add("p", {{"class", "quiet"}}, "There is no mailbox.");
    AddTable(html_, "What each mailbox holds",
             {{"Mailbox"},
              {"Problems", true},
              {"Calendars", true},
              {"Calendar bytes", true},
              {"Entries", true},
              {"Items", true},
              {"Item bytes", true},
              {"Index bytes", true}},
             rows, row("all", report_.findings.size(), all));
}

void Page::AddYears() {
    const Html::Element card = OpenCard(html_, "year", "Year");
    html_.Add("h2", "Entries in " + YearText());
    std::string others;
    bool hasAny = false;
    for (const auto& [name, mailbox] : report_.census) {
        if (mailbox.days.Entries() == 0) {
            if (!name.place.empty()) others += (others.empty() ? "" : ", ") + NameText(name);
            continue;
        }
        if (!std::exchange(hasAny, true)) {
            html_.Add("p", {{"class", "quiet"}},
                      "A square is a day; weeks stand in columns, from Monday to Sunday. An entry "
                      "counts on each day that it touches.");
            AddShadeLegend(html_);
        }
        AddYearStrip(html_, NameText(name), mailbox.days);
    }
    if (!others.empty()) html_.Add("p", {{"class", "quiet"}}, "No entries: " + others + ".");
    if (!hasAny && others.empty()) {
        html_.Add("p", {{"class", "quiet"}}, "There is no mailbox.");
    }
}

void Page::AddBlocks() {
    const Html::Element card = OpenCard(html_, "locks", "Locks");
    html_.Add("h2", "Locks");
    if (report_.blocks.empty()) {
        return html_.Add("p", {{"class", "quiet"}}, "There is no block file.");
    }
    const Html::Element list = html_.Open("ul", {{"class", "findings"}});
    for (const BlockState& block : report_.blocks) {
        const Html::Element item = html_.Open("li");
        {
            const Html::Element line = html_.Open("p");
            html_.Add("code", {{"class", "where"}}, ToUtf8(block.path));
        }
        html_.Add("p", ToUtf8("guards " + block.rule.guards + ", for " +
                              FormatAge(block.ageSeconds) + StateText(block)));
        html_.Add("p", "broken " + block.rule.breaks);
    }
}

void Page::AddMachine() {
    const Html::Element card = OpenCard(html_, "machine", "Machine and settings");
    html_.Add("h2", "Machine and settings");
    if (report_.advice.empty()) {
        html_.Add("p", {{"class", "quiet"}}, "doctor finds no problem and no risk.");
    } else {
        AddAdviceOf(true, "Problems");
        AddAdviceOf(false, "Risks");
    }
    const Facts& facts = report_.facts;
    std::vector<std::vector<std::string>> rows{
        {"Mail root", StateText(facts.rootFolder), ToUtf8(facts.rootFolder.path)},
        {"Program modules", StateText(facts.programFolder), ToUtf8(facts.programFolder.path)},
        {"Library", facts.library.version, ToUtf8(facts.library.path)},
        {"Clock", FormatTime(static_cast<std::int32_t>(facts.clock.unixTime)),
         ToUtf8(facts.clock.zone)}};
    for (const HostState& host : facts.hosts) {
        rows.push_back(
            {"Host " + ToUtf8(host.name),
             host.last.fault.empty() ? "answers" : "fails at " + std::string(host.last.name),
             ToUtf8(host.address)});
    }
    html_.Add("h3", "Machine");
    AddTable(html_, "Machine", {{"What"}, {"State"}, {"Where"}}, rows);
    AddSettings();
}

void Page::AddAdviceOf(bool isProblem, const char* title) {
    const auto wanted = [isProblem](const Advice& advice) { return advice.isProblem == isProblem; };
    if (std::ranges::none_of(report_.advice, wanted)) return;
    html_.Add("h3", title);
    const Html::Element list = html_.Open("ul", {{"class", "findings"}});
    for (const Advice& advice : report_.advice) {
        if (!wanted(advice)) continue;
        AddAdvice(html_, {advice.code, isProblem, advice.place, advice.means, advice.mend});
    }
}

void Page::AddSettings() {
    html_.Add("h3", "Settings");
    const std::vector<ShownSetting> settings = ShownSettings(report_.facts);
    for (auto first = settings.begin(); first != settings.end();) {
        const std::string& key = first->key;
        std::vector<std::vector<std::string>> rows;
        for (; first != settings.end() && first->key == key; ++first) {
            rows.push_back({first->name, ToUtf8(first->value + first->unit), first->source});
        }
        html_.Add("h4", ToUtf8(key));
        AddTable(html_, "Settings of " + ToUtf8(key), {{"Setting"}, {"Value"}, {"From"}}, rows);
    }
}

}  // namespace

std::size_t StoreReport::Mailboxes() const {
    return census.size() - census.count(MailboxName());
}

std::size_t StoreReport::MachineProblems() const {
    return static_cast<std::size_t>(std::ranges::count_if(advice, &Advice::isProblem));
}

std::string StorePage(const StoreReport& report) {
    return Page(report).Make();
}

}  // namespace tarnwick::admin
