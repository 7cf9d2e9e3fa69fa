// What surrounds the document of a run: the same in every page, but for the title.

#include <array>

#include "exporters/html/PageDocument.h"
#include "exporters/html/PageFiles.h"
#include "exporters/html/PageText.h"

namespace {

/// How the policy names a text by its hash, which is given as hexadecimal digits.
std::string sourceOf(std::string_view hexadecimal) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string bytes;
  for (std::size_t n = 0; n + 1 < hexadecimal.size(); n += 2) {
    bytes +=
        static_cast<char>(kDigits.find(hexadecimal[n]) << 4U | kDigits.find(hexadecimal[n + 1]));
  }
  return "'sha256-" + base64(bytes) + "'";
}

std::string frameHead(std::string_view title) {
  const PageFiles& files = pageFiles();
  std::string head =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; base-uri "
      "'none'; form-action 'none'; script-src ";
  head += sourceOf(files.scriptHash) + "; style-src " + sourceOf(files.styleHash) + "\">\n";
  head +=
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<title>";
  head += title;
  head += "</title>\n<style>";
  head += files.style;
  head += "</style>\n</head>\n<body>\n";
  head += files.body;
  return head + "<script type=\"application/json\" id=\"run\">";
}

constexpr std::string_view kBetween = "</script>\n<script type=\"text/plain\" id=\"points\">";

}  // namespace

std::size_t frameBytes() {
  return frameHead("").size() + kBetween.size() + tailOf().size();
}

std::string headOf(const PageDocument& document) {
  std::string head = frameHead(document.title);
  head += document.run;
  return head.append(kBetween);
}

std::string tailOf() {
  std::string tail = "</script>\n<script>";
  tail += pageFiles().script;
  return tail + "</script>\n</body>\n</html>\n";
}
