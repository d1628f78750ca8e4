// What is the same on every page of a survey: the head with its style, and the notes at the end.
// The policy keeps a page from running or fetching anything, whatever a title may hold.
#ifndef KOLN_HOST_SURVEY_PAGE_PARTS_H
#define KOLN_HOST_SURVEY_PAGE_PARTS_H

namespace host {

constexpr const char* surveyPageBegin = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<title>What archiving would save</title>
<style>
:root { --page: #f5f6f8; --paper: #fff; --text: #1c2330; --faint: #5d6878; --line: #dfe3ea;
  --goes: #1266c4; --stays: #bcc8d8; --warning: #8a4b00; }
@media (prefers-color-scheme: dark) { :root { --page: #14181f; --paper: #1c222c; --text: #e6eaf0;
  --faint: #9aa6b6; --line: #323a47; --goes: #58a6ff; --stays: #465468; --warning: #ffb964; } }
* { box-sizing: border-box; }
body { margin: 0; background: var(--page); color: var(--text);
  font: 15px/1.45 system-ui, "Segoe UI", "DejaVu Sans", sans-serif; }
main { max-width: 1040px; margin: 0 auto; padding: 36px 28px; }
h1 { font-size: 30px; line-height: 1.25; margin: 0 0 8px; text-wrap: balance; }
h2 { font-size: 18px; margin: 32px 0 10px; }
.lead, .legend, small, footer { color: var(--faint); overflow-wrap: anywhere; }
.lead { margin: 0 0 24px; }
.warning { color: var(--warning); font-weight: 600; }
.cards, .charts { display: grid; gap: 12px; }
.cards { grid-template-columns: repeat(auto-fit, minmax(150px, 1fr)); }
.charts { grid-template-columns: repeat(auto-fit, minmax(340px, 1fr)); }
.cards div, figure, table { background: var(--paper); border: 1px solid var(--line);
  border-radius: 8px; }
.cards div { padding: 14px 16px; color: var(--faint); }
.cards b { display: block; font-size: 22px; color: var(--text); }
.legend { margin: 22px 0 10px; }
.legend i { display: inline-block; width: 12px; height: 12px; margin-right: 7px; }
.legend .stays { margin-left: 18px; }
figure { margin: 0; padding: 16px; }
figcaption { font-weight: 600; margin-bottom: 8px; }
svg { display: block; width: 100%; }
svg text { fill: var(--text); font-size: 13px; }
svg .amount { fill: var(--faint); }
.goes { fill: var(--goes); background: var(--goes); }
.stays { fill: var(--stays); background: var(--stays); }
table { width: 100%; border-collapse: separate; border-spacing: 0; }
th, td { padding: 6px 12px; text-align: right; white-space: nowrap;
  border-bottom: 1px solid var(--line); font-variant-numeric: tabular-nums; }
th { color: var(--faint); font-weight: 600; }
th:first-child, td:first-child { text-align: left; white-space: normal; overflow-wrap: anywhere; }
th:last-child, td:last-child { width: 26%; }
td small { margin-left: 10px; }
tfoot td { font-weight: 700; border-bottom: 0; }
.track { display: flex; height: 14px; }
footer { margin-top: 24px; font-size: 13px; }
@media (max-width: 640px) { th:last-child, td:last-child { display: none; } }
@media print { body { background: none; } .bar { print-color-adjust: exact; } }
</style>
</head>
<body><main>
)";

constexpr const char* surveyPageEnd =
    R"(<footer><p>A note's age counts from its delivery; one without a date counts as new. Notes that
were archived before, that have no date or, unless the survey was to include them, that are unread
count as staying. What would be free is an estimate: body and attachments of each note, less 1,400
bytes for what a stub gets in their place. The file of a database shrinks when it is compacted.
1 KiB is 1,024 bytes.</p></footer>
</main></body>
</html>
)";

}  // namespace host

#endif
