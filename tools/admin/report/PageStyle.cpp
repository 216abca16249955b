#include "tools/admin/report/PageStyle.h"

namespace tarnwick::admin {
namespace {

// Texts have a contrast of 4.5 to 1 or more, the shades of days with entries of 3 to 1 (WCAG AA).
constexpr std::string_view kStyle = R"(
:root {
    color-scheme: light dark;
    --page: #f6f7f8; --card: #ffffff; --text: #1a2027; --quiet: #55606c; --line: #d8dde3;
    --link: #1a5490; --bad: #a4230f; --bad-back: #fdeeea; --risk: #7a4d00; --risk-back: #fdf3dc;
    --good: #1c6b3c; --good-back: #e6f4ea; --code: #eef1f4;
    --d0: #e6e9ed; --d1: #5d94cc; --d2: #2f72b3; --d3: #1b4f86; --d4: #0a2a4d;
}
@media screen and (prefers-color-scheme: dark) {
    :root {
        --page: #11151a; --card: #191f26; --text: #e3e8ed; --quiet: #9da8b4; --line: #323b45;
        --link: #8fc1f3; --bad: #ff9d8a; --bad-back: #3a1d18; --risk: #edc06b; --risk-back: #33280f;
        --good: #86d3a0; --good-back: #15301f; --code: #232b34;
        --d0: #2a323b; --d1: #4379b0; --d2: #6ba3db; --d3: #a0caf3; --d4: #e2f0ff;
    }
}
* { box-sizing: border-box; }
body {
    margin: 0; background: var(--page); color: var(--text);
    font: 1rem/1.5 system-ui, "Segoe UI", Roboto, "Helvetica Neue", Arial, sans-serif;
    overflow-wrap: anywhere; font-variant-numeric: tabular-nums;
}
header, main, footer { max-width: 64rem; margin: 0 auto; padding: 0 1.25rem; }
header { padding-top: 2rem; }
h1 { margin: 0; font-size: 1.75rem; line-height: 1.2; letter-spacing: -0.01em; }
h2 { margin: 0 0 0.75rem; font-size: 1.25rem; line-height: 1.3; }
h3 { margin: 1.5rem 0 0.5rem; font-size: 1rem; }
h3 .count { font-weight: 400; color: var(--quiet); }
h4 { margin: 1rem 0 0; font-size: 0.8125rem; font-weight: 400; color: var(--quiet); }
p { margin: 0.5rem 0; }
a { color: var(--link); text-underline-offset: 0.15em; }
a:focus-visible, summary:focus-visible, .scroll:focus-visible {
    outline: 2px solid var(--link); outline-offset: 2px;
}
code { font: 0.875em/1.5 ui-monospace, "Cascadia Mono", Consolas, "DejaVu Sans Mono", monospace; }
section.card {
    margin: 1.25rem 0; padding: 1.25rem 1.25rem 1rem; background: var(--card);
    border: 1px solid var(--line); border-radius: 0.5rem;
}
.quiet { color: var(--quiet); }
.about { margin: 0.375rem 0 0; color: var(--quiet); }
.verdict {
    margin: 1.25rem 0 0; padding: 0.75rem 1rem; border-left: 0.25rem solid; border-radius: 0.25rem;
    font-weight: 600;
}
.verdict.good { color: var(--good); background: var(--good-back); }
.verdict.bad { color: var(--bad); background: var(--bad-back); }
ul.numbers {
    display: grid; grid-template-columns: repeat(auto-fit, minmax(8.5rem, 1fr)); gap: 0.75rem;
    margin: 1.25rem 0 0; padding: 0; list-style: none;
}
ul.numbers li {
    padding: 0.625rem 0.875rem; background: var(--card); color: var(--quiet);
    border: 1px solid var(--line); border-radius: 0.5rem; font-size: 0.875rem;
}
ul.numbers b { display: block; color: var(--text); font-size: 1.5rem; line-height: 1.3; }
nav ul, ul.legend { display: flex; flex-wrap: wrap; gap: 0.25rem 1.25rem; }
nav ul { margin: 1rem 0 0; padding: 0; list-style: none; }
.scroll { overflow-x: auto; margin: 0.5rem 0 1rem; }
table { border-collapse: collapse; font-size: 0.9375rem; }
caption { padding: 0.25rem 0; text-align: left; color: var(--quiet); }
th, td {
    padding: 0.375rem 1.5rem 0.375rem 0; text-align: left; vertical-align: top;
    border-bottom: 1px solid var(--line); overflow-wrap: normal;
}
th:last-child, td:last-child { padding-right: 0; }
thead th { color: var(--quiet); font-weight: 600; font-size: 0.8125rem; white-space: nowrap; }
tbody th { font-weight: 400; white-space: nowrap; }
.number { text-align: right; white-space: nowrap; }
tr.total > * { font-weight: 600; border-bottom: 0; }
ul.findings { margin: 0; padding: 0; list-style: none; }
ul.findings > li { padding: 0.75rem 0; border-top: 1px solid var(--line); }
ul.findings p { margin: 0.125rem 0; }
.tag {
    display: inline-block; padding: 0 0.5rem; border-radius: 0.75rem; white-space: nowrap;
    font-weight: 600; color: var(--bad); background: var(--bad-back);
}
.tag.risk { color: var(--risk); background: var(--risk-back); }
.where { display: inline-block; unicode-bidi: isolate; }
pre {
    margin: 0.375rem 0 0; padding: 0.375rem 0.625rem; background: var(--code);
    border-radius: 0.25rem; white-space: pre-wrap; unicode-bidi: isolate;
}
figure.year {
    margin: 0; padding: 1rem 0 0.75rem; border-top: 1px solid var(--line);
    content-visibility: auto; contain-intrinsic-size: auto 12rem;
}
figcaption { color: var(--quiet); }
figcaption strong { color: var(--text); }
.months { display: flex; flex-wrap: wrap; gap: 0.75rem 0.6875rem; margin: 0.625rem 0 0.5rem; }
.month span { display: block; font-size: 0.75rem; line-height: 1.5; color: var(--quiet); }
svg { display: block; }
rect { rx: 2px; }
.d0 { fill: var(--d0); } .d1 { fill: var(--d1); } .d2 { fill: var(--d2); }
.d3 { fill: var(--d3); } .d4 { fill: var(--d4); }
rect:hover { stroke: var(--text); }
ul.legend { margin: 0.5rem 0 1rem; padding: 0; list-style: none; color: var(--quiet);
    font-size: 0.875rem; }
ul.legend li { display: flex; align-items: center; gap: 0.375rem; }
details { font-size: 0.875rem; }
summary { width: fit-content; cursor: pointer; color: var(--link); }
footer { padding-top: 0.5rem; padding-bottom: 2rem; color: var(--quiet); font-size: 0.875rem; }
@media (max-width: 30rem) {
    header, main, footer { padding-left: 0.875rem; padding-right: 0.875rem; }
    section.card { padding: 1rem 0.875rem 0.75rem; }
}
@page { margin: 16mm 14mm; }
@media print {
    :root { color-scheme: light; --page: #ffffff; font-size: 10pt; }
    header, main, footer { max-width: none; padding: 0; }
    section.card { padding: 0; margin: 8mm 0; border: 0; }
    nav, details { display: none; }
    .months svg { width: auto; height: 62px; }
    .scroll { overflow: visible; }
    thead th, tbody th { white-space: normal; }
    th, td { padding-right: 0.75rem; overflow-wrap: anywhere; }
    .number { overflow-wrap: normal; }
    h2, h3, h4, thead { break-after: avoid; }
    figure.year, ul.findings > li, tr, ul.numbers { break-inside: avoid; }
    .verdict, .tag, pre { border: 1px solid var(--line); }
}
)";

}  // namespace

std::string_view PageStyle() {
    return kStyle;
}

}  // namespace tarnwick::admin
