#include <algorithm>
#include <functional>

#include "tavrin/common/PlainText.h"
#include "tavrin/common/TextScan.h"
#include "tavrin/doctor/DoctorReport.h"

namespace tavrin {

namespace {

using State = FeatureProbe::State;

constexpr std::size_t kWidth = 80;
constexpr std::size_t kNameWidth = 16;
constexpr std::size_t kCheckWidth = 21;
constexpr std::size_t kMostPaths = 3;

class Page {
 public:
  explicit Page(bool isColoured) : isColoured_(isColoured) {}

  void heading(const std::string& title) {
    text_ += text_.empty() ? "" : "\n";
    text_ += painted("1", title) + "\n";
  }

  /// A line that begins with `start`, which is `indent` wide as it is seen; the words of `text`
  /// follow, on as many lines as they need.
  void line(const std::string& start, std::size_t indent, const std::string& text) {
    text_ += start;
    std::size_t column = indent;
    const std::string plain = escaped(text);
    for (std::string_view rest = plain; !rest.empty();) {
      const std::string_view word = takeWord(rest);
      if (word.empty()) break;
      if (column > indent && column + 1 + word.size() > kWidth) {
        text_ += "\n" + std::string(indent, ' ');
        column = indent;
      }
      if (column > indent) text_ += ' ';
      text_ += word;
      column += word.size() + (column > indent ? 1 : 0);
    }
    text_ += '\n';
  }

  /// With a name in the column before the text.
  void row(const std::string& name, std::size_t width, const std::string& text) {
    const std::size_t indent = 2 + std::max(width, name.size() + 1);
    line("  " + name + std::string(indent - 2 - name.size(), ' '), indent, text);
  }

  /// As it is: commands are not to be broken.
  void verbatim(const std::string& line) { text_ += line + "\n"; }

  std::string painted(const char* colour, const std::string& text) const {
    return isColoured_ ? std::string("\033[") + colour + "m" + text + "\033[0m" : text;
  }

  std::string take() { return std::move(text_); }

 private:
  const bool isColoured_;
  std::string text_;
};

std::string helpOf(const FeatureFinding& finding) {
  return finding.isOnDemand ? finding.help + " (on demand)" : finding.help;
}

/// What the right would bring.
void addGains(Page& page, const Right& right, const std::vector<FeatureFinding>& features) {
  std::vector<std::string> paths;
  for (const FeatureFinding& finding : features) {
    if (!finding.probe.lacks(right)) continue;
    const bool isPartial = finding.probe.state() == State::Partial;
    page.row(finding.tag, kNameWidth, isPartial ? "the rest of: " + finding.help : helpOf(finding));
    for (const Refusal& refusal : finding.probe.refusals) {
      const bool isKnown = std::ranges::count(paths, refusal.what) > 0;
      if (&rightOf(refusal.what) == &right && !isKnown) paths.push_back(refusal.what);
    }
  }
  for (std::size_t i = 0; i < std::min(paths.size(), kMostPaths); ++i) {
    page.verbatim("    refused: " + escaped(paths[i]));
  }
  if (paths.size() > kMostPaths) {
    page.verbatim("    and " + std::to_string(paths.size() - kMostPaths) + " more");
  }
}

void addMissing(Page& page, const Diagnosis& diagnosis) {
  const std::vector<const Right*> missing = diagnosis.missing();
  if (missing.empty()) return;
  page.heading("Not permitted: what is missing, what it would bring, how to get it");
  for (const Right* const right : missing) {
    if (right != missing.front()) page.verbatim("");
    page.verbatim(" " + page.painted("33", right->name));
    page.line("  needs ", 8, right->needs);
    addGains(page, *right, diagnosis.features);
    for (const char* const command : right->recipe) page.verbatim(std::string("    $ ") + command);
  }
  page.verbatim("\n What these mean, safer ways and lasting ones: " + diagnosis.guide);
}

void addFeatures(Page& page, const Diagnosis& diagnosis, const std::string& title,
                 const std::function<bool(State)>& isMeant) {
  bool isFirst = true;
  for (const FeatureFinding& finding : diagnosis.features) {
    const State state = finding.probe.state();
    if (!isMeant(state)) continue;
    if (isFirst) page.heading(title);
    isFirst = false;
    std::string text = state == State::Absent ? finding.probe.whyAbsent : helpOf(finding);
    if (state == State::Partial) text += ", in part";
    page.row(finding.tag, kNameWidth, text);
  }
}

void addChecks(Page& page, const std::vector<Check>& checks) {
  page.heading("The machine, this user and this build");
  for (const Check& check : checks) {
    const std::string mark = check.isGood ? "ok  " : page.painted("33", "note");
    page.line("  " + mark + "  " + check.name +
                  std::string(kCheckWidth - std::min(kCheckWidth, check.name.size()), ' '),
              8 + std::max(kCheckWidth, check.name.size()), check.text);
  }
}

}  // namespace

std::string doctorText(const Diagnosis& diagnosis, bool isColoured) {
  Page page(isColoured);
  page.heading("What " + diagnosis.user + " may measure here");
  addMissing(page, diagnosis);
  addFeatures(page, diagnosis, "Works",
              [](State state) { return state == State::Works || state == State::Partial; });
  addFeatures(page, diagnosis, "Not on this machine",
              [](State state) { return state == State::Absent; });
  addChecks(page, diagnosis.checks);
  page.verbatim("");
  page.line("", 0,
            std::to_string(diagnosis.features.size()) +
                " features: " + std::to_string(diagnosis.count(State::Works)) + " work, " +
                std::to_string(diagnosis.count(State::Partial)) + " in part, " +
                std::to_string(diagnosis.count(State::Refused)) + " not permitted, " +
                std::to_string(diagnosis.count(State::Absent)) + " not on this machine.");
  return page.take();
}

}  // namespace tavrin
