#include "gallery.h"

#include <cstdio>
#include <fstream>
#include <sstream>

#include "common/json_access.h"

namespace qdx::demo {

namespace {

constexpr std::size_t kBodyShown = 1200;  // characters of a body before "…"

const char kStyle[] = R"(
body { font: 15px/1.45 system-ui, sans-serif; margin: 0; background: #f4f5f7; color: #222; }
header { background: #2b3a55; color: #fff; padding: 18px 28px; }
header h1 { margin: 0 0 6px; font-size: 22px; }
header p { margin: 2px 0; opacity: .85; }
nav { padding: 10px 28px; background: #fff; border-bottom: 1px solid #ddd; }
nav a { margin-right: 14px; color: #2b3a55; text-decoration: none; white-space: nowrap; }
section { display: flex; gap: 24px; margin: 22px 28px; padding: 18px; background: #fff;
          border-radius: 8px; box-shadow: 0 1px 3px rgba(0,0,0,.08); }
section .shot { flex: 0 0 auto; }
section .shot img { width: 375px; border: 1px solid #ccc; border-radius: 6px; display: block; }
section .facts { flex: 1 1 auto; min-width: 0; }
h2 { margin: 0 0 6px; font-size: 19px; }
h3 { margin: 14px 0 4px; font-size: 14px; text-transform: uppercase; letter-spacing: .04em; color: #556; }
.ok { color: #1b7f3b; } .fail { color: #b42318; font-weight: bold; }
.badge { font-size: 13px; padding: 2px 8px; border-radius: 10px; margin-left: 8px; vertical-align: 2px; }
.badge.ok { background: #e3f4e8; } .badge.fail { background: #fde8e6; }
table { border-collapse: collapse; width: 100%; font-size: 13px; }
td, th { border-bottom: 1px solid #eee; padding: 4px 6px; text-align: left; vertical-align: top; }
pre { margin: 0; white-space: pre-wrap; word-break: break-all; font-size: 12px; }
details pre { background: #f7f7f9; padding: 8px; max-height: 260px; overflow: auto; }
ol, ul { margin: 0; padding-left: 22px; }
.muted { color: #888; }
)";

std::string describeBody(const Json& row) {
  const Json& body = json::member(row, "body");
  if (body.is_null()) return "";
  std::string text = body.is_string() ? body.get<std::string>() : body.dump(-1, ' ', false, Json::error_handler_t::replace);
  if (text.size() > kBodyShown) text = text.substr(0, kBodyShown) + "…";
  return text;
}

void list(std::ostream& out, const char* heading, const std::vector<std::string>& lines,
          const char* none, bool ordered = true) {
  out << "<h3>" << heading << "</h3>";
  if (lines.empty()) {
    out << "<p class=\"muted\">" << none << "</p>";
    return;
  }
  out << (ordered ? "<ol>" : "<ul>");
  for (const std::string& line : lines) out << "<li>" << escapeHtml(line) << "</li>";
  out << (ordered ? "</ol>" : "</ul>");
}

void journalTable(std::ostream& out, const std::vector<Json>& rows) {
  out << "<h3>Server journal</h3>";
  if (rows.empty()) {
    out << "<p class=\"muted\">no requests</p>";
    return;
  }
  out << "<table><tr><th>#</th><th>request</th><th>signature</th><th>answer</th>"
         "<th>deciphered body</th></tr>";
  for (const Json& row : rows) {
    const Json& retcode = json::member(row, "retcode");
    out << "<tr><td>" << escapeHtml(json::describe(json::member(row, "seq"))) << "</td><td>"
        << escapeHtml(json::describe(json::member(row, "method"))) << " "
        << escapeHtml(json::describe(json::member(row, "endpoint"))) << "</td><td>"
        << escapeHtml(json::describe(json::member(row, "signature"))) << "</td><td>"
        << escapeHtml(json::describe(json::member(row, "status")))
        << (retcode.is_null() ? "" : ", retcode " + escapeHtml(json::describe(retcode)))
        << "</td><td><pre>" << escapeHtml(describeBody(row)) << "</pre></td></tr>";
  }
  out << "</table>";
}

void stepSection(std::ostream& out, const StepRecord& step) {
  const bool ok = step.failures.empty();
  out << "<section id=\"" << escapeHtml(step.name) << "\"><div class=\"shot\">";
  if (!step.screenshot.empty()) {
    out << "<img src=\"" << escapeHtml(step.screenshot) << "\" alt=\"" << escapeHtml(step.title)
        << "\">";
  }
  out << "</div><div class=\"facts\"><h2>" << escapeHtml(step.title) << "<span class=\"badge "
      << (ok ? "ok\">checks held" : "fail\">a check failed") << "</span></h2><p>"
      << escapeHtml(step.description) << "</p>";
  char timing[64];
  std::snprintf(timing, sizeof timing, "%.2f s", step.seconds);
  out << "<p class=\"muted\">" << timing << "</p>";
  list(out, "What the host's delegate heard", step.heard, "nothing");
  if (!step.opened.empty()) list(out, "Store links opened", step.opened, "none");
  journalTable(out, step.journal);
  out << "<h3>Checks</h3><ul>";
  for (const std::string& failure : step.failures) {
    out << "<li class=\"fail\">✗ " << escapeHtml(failure) << "</li>";
  }
  for (const std::string& passed : step.passed) {
    out << "<li class=\"ok\">✓ " << escapeHtml(passed) << "</li>";
  }
  for (const std::string& unchecked : step.unchecked) {
    out << "<li class=\"muted\">– " << escapeHtml(unchecked) << "</li>";
  }
  out << "</ul>";
  if (!step.notes.empty()) list(out, "What the device keeps (local store)", step.notes, "", false);
  out << "<details><summary>Cipher trace (" << step.trace.size()
      << " lines the SDK wrote to standard output)</summary><pre>";
  for (const std::string& line : step.trace) out << escapeHtml(line) << "\n";
  out << "</pre></details></div></section>\n";
}

}  // namespace

std::string escapeHtml(const std::string& text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '&': escaped += "&amp;"; break;
      case '<': escaped += "&lt;"; break;
      case '>': escaped += "&gt;"; break;
      case '"': escaped += "&quot;"; break;
      case '\'': escaped += "&#39;"; break;
      default: escaped += c;
    }
  }
  return escaped;
}

bool writeGallery(const std::string& dir, const GalleryHeader& header,
                  const std::vector<StepRecord>& steps) {
  std::size_t failed = 0;
  for (const StepRecord& step : steps) failed += step.failures.empty() ? 0 : 1;
  std::ostringstream out;
  out << "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>"
      << escapeHtml(header.title) << "</title><style>" << kStyle << "</style></head><body>\n"
      << "<header><h1>" << escapeHtml(header.title) << "</h1><p>" << steps.size() << " steps, "
      << (failed == 0 ? "every check held" : std::to_string(failed) + " with a failed check");
  char timing[64];
  std::snprintf(timing, sizeof timing, ", %.1f s", header.seconds);
  out << timing << "</p><p>Server: " << escapeHtml(header.server) << "</p><p>Journal: "
      << escapeHtml(header.journal) << "</p></header>\n<nav>";
  for (const StepRecord& step : steps) {
    out << "<a href=\"#" << escapeHtml(step.name) << "\" class=\""
        << (step.failures.empty() ? "" : "fail") << "\">" << escapeHtml(step.title) << "</a> ";
  }
  out << "</nav>\n";
  for (const StepRecord& step : steps) stepSection(out, step);
  out << "</body></html>\n";

  const std::string path = dir + "/index.html";
  const std::string temporary = path + ".partial";
  {
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    file << out.str();
    if (!file.good()) return false;
  }
  return std::rename(temporary.c_str(), path.c_str()) == 0;
}

}  // namespace qdx::demo
