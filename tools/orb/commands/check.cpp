// orb check: what is broken in a file and what is whole.
#include <memory>
#include <string_view>

#include "blocks.h"
#include "command.h"
#include "json_output.h"
#include "result_text.h"
#include "terminal_text.h"

namespace orb::tool {

namespace {

struct Options {
  std::string file;
  bool json = false;
};

constexpr std::string_view kWhole = "whole, ";

struct Finding {
  std::uint16_t cls;  // 0: the file as a whole
  std::uint32_t status;
  std::string text;
};

extern "C" void addFinding(void* context, USHORT cls, ULONG status, const char* text) {
  static_cast<std::vector<Finding>*>(context)->push_back({cls, convertReturnCode(status), text});
}

std::string placeWords(const Finding& finding) {
  return finding.cls == 0 ? "file" : hex(finding.cls, 4) + " " + classWords(finding.cls);
}

void printText(const std::string& file, const std::vector<Finding>& findings, std::uint32_t status, Console& console) {
  for (const Finding& finding : findings) {
    const char* const verdict = finding.status == 0 ? "whole   " : "broken  ";
    const std::string code = finding.status == 0 ? "" : " (" + hex(finding.status, 8) + ")";
    // The service begins with "whole, " where the line does already.
    const bool repeats = finding.status == 0 && finding.text.substr(0, kWhole.size()) == kWhole;
    const std::string text = repeats ? finding.text.substr(kWhole.size()) : finding.text;
    console.line(verdict + placeWords(finding) + ": " + escapeLine(text) + code);
  }
  console.line(escapeLine(file) + ": " + (status == 0 ? "whole" : "broken"));
}

Json asJson(const std::string& file, const std::vector<Finding>& findings, bool opens, std::uint32_t status) {
  Json list = Json::array();
  for (const Finding& finding : findings) {
    Json json;
    json["class"] = finding.cls == 0 ? Json(nullptr) : Json(hex(finding.cls, 4));
    json["name"] = finding.cls == 0 ? "file" : classWords(finding.cls);
    json["whole"] = finding.status == 0;
    json["code"] = hex(finding.status, 8);
    json["text"] = finding.text;
    list.push_back(std::move(json));
  }
  Json json;
  json["file"] = file;
  json["whole"] = status == 0;
  json["opens"] = opens;
  json["code"] = hex(status, 8);
  json["name"] = explainCode(status).name;
  json["text"] = explainCode(status).text;
  json["findings"] = std::move(list);
  return json;
}

int run(const Options& options, Console& console) {
  FileAccess file;
  std::vector<Finding> findings;
  std::uint32_t status = file.open(options.file, com::norvale::orb::READONLY);
  const bool opens = status == 0;
  if (opens) status = convertReturnCode(AioCheck(file.handle(), addFinding, &findings));
  if (options.json) {
    printJson(asJson(options.file, findings, opens, status), console);
  } else if (opens) {
    printText(options.file, findings, status, console);
  }
  if (!opens) console.note(options.file + ": cannot open: " + codeInWords(status));
  if (opens && status != 0) console.note(options.file + ": " + codeInWords(status));
  return status == 0 ? kDone : kFailed;
}

}  // namespace

void addCheck(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("check", "Say what is broken in a file and what is whole");
  command->add_option("FILE", options->file, "Data file")->required();
  command->add_flag("--json", options->json, "Print JSON");
  command->footer(
      "Exit status 0 when the file is whole, 1 when it is broken or cannot be opened.\n\n"
      "Example:\n"
      "  orb check soil.dat");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
