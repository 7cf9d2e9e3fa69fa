#include "tavrin/import/Recognition.h"

#include <algorithm>
#include <filesystem>

#include "hostcommon/Utf8Path.h"
#include "packing/Packing.h"
#include "readers/ResultReader.h"
#include "readers/RunFiles.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/import/Blanks.h"
#include "tavrin/import/FtraceImport.h"
#include "tavrin/import/RecordingImport.h"
#include "tavrin/import/RecordingReader.h"
#include "tavrin/import/ResultImport.h"
#include "tavrin/import/UnpackedSource.h"
#include "tavrin/platform/InputFile.h"
#include "tavrin/stream/StreamNames.h"
#include "tavrin/stream/StreamReader.h"

namespace tavrin {

namespace {

/// The bytes from the first that is neither blank nor part of a byte order mark.
std::string_view beginOf(std::string_view bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  return withoutBlanksBefore(bytes);
}

/// A stream says in its first record what it is. Its reader also takes what could be meant to be
/// one: it tells the line and the column that are not as they should be.
bool isStream(const InputHead& head) {
  const std::string_view text = beginOf(head.bytes);
  if (!head.isAll && !text.starts_with('{')) return false;
  const std::string_view firstLine = text.substr(0, text.find('\n'));
  if (firstLine.find(names::kStreamType) != std::string_view::npos) return true;
  const bool isUtf16 = head.bytes.starts_with("\xFF\xFE") || head.bytes.starts_with("\xFE\xFF");
  return head.isAll && (text.empty() || text.starts_with('{') || isUtf16);
}

std::unique_ptr<Import> openStream(PeekedSource& input, pwr::MessageSink& sink,
                                   const ImportOptions& /*options*/) {
  return std::make_unique<StreamReader>(input, sink);
}

std::unique_ptr<Import> openKernelRecording(PeekedSource& input, pwr::MessageSink& sink,
                                            const ImportOptions& options) {
  if (input.path().empty()) {
    throw CommandError(kExitIncomplete,
                       input.name() +
                           ": a kernel recording is read here and there, so only from a "
                           "file that is not packed");
  }
  return std::make_unique<RecordingImport>(input.path(), options.events, sink,
                                           [&input] { return input.isStopped(); });
}

bool isFtrace(const InputHead& head) {
  return FtraceImport::isOurs(head.bytes, head.isAll);
}

std::unique_ptr<Import> openFtrace(PeekedSource& input, pwr::MessageSink& sink,
                                   const ImportOptions& options) {
  return std::make_unique<FtraceImport>(input, options.events, sink);
}

bool isResult(const InputHead& head) {
  return formatOf(head.bytes).has_value();
}

std::unique_ptr<Import> openResult(PeekedSource& input, pwr::MessageSink& sink,
                                   const ImportOptions& options) {
  return std::make_unique<ResultImport>(input, sink, options);
}

/// Every kind of input.
constexpr InputKind kKinds[] = {
    {"a .ztbin, .ztjson or .pwr file", isResult, openResult},
    {"a recorded stream", isStream, openStream},
    {"a kernel recording", [](const InputHead& head) { return isRecording(head.bytes); },
     openKernelRecording},
    {"text of kernel events (cat trace, trace-cmd report, systrace)", isFtrace, openFtrace},
};

const InputKind* kindOf(const InputHead& head) {
  const auto* const kind =
      std::ranges::find_if(kKinds, [&](const InputKind& k) { return k.matches(head); });
  return kind == std::end(kKinds) ? nullptr : kind;
}

[[noreturn]] void refuse(const std::string& name) {
  std::string kinds;
  for (const InputKind& kind : kKinds) kinds.append(kinds.empty() ? "" : ", ").append(kind.name);
  throw CommandError(kExitIncomplete, name + ": its content is none of what can be read: " + kinds);
}

}  // namespace

ImportOptions inRunOrder(ImportOptions options) {
  if (options.files.size() < 2) return options;
  try {
    const std::vector<RunFiles> runs = sortIntoRuns(options.files);
    if (runs.size() > 1) {
      throw CommandError(kExitUsage, runs[0].front() + " and " + runs[1].front() +
                                         " are not numbered files of one run");
    }
    options.files = runs.front();
  } catch (const ResultError& fault) {
    throw CommandError(kExitIncomplete, fault.what());
  }
  return options;
}

std::unique_ptr<PeekedSource> openInput(const std::string& path, const StopRequest* stop) {
  std::error_code unknown;
  if (path != "-" && std::filesystem::is_directory(pwr::pathFromUtf8(path), unknown)) {
    throw CommandError(kExitIncomplete, "cannot read " + path + ": it is a folder");
  }
  auto input = std::make_unique<PeekedSource>(std::make_unique<InputFile>(path, stop));
  while (mayBePacked(input->head()) && input->peekMore()) {
  }
  const auto packing = packingOfContent(input->head());
  if (!packing) return input;
  const std::string reason = whyNotPacked(*packing);
  if (!reason.empty()) throw CommandError(kExitIncomplete, path + ": it is packed, and " + reason);
  return std::make_unique<PeekedSource>(
      std::make_unique<UnpackedSource>(std::move(input), createUnpacker(*packing)));
}

std::unique_ptr<Import> openImport(PeekedSource& input, pwr::MessageSink& sink,
                                   const ImportOptions& options) {
  bool isAll = false;
  const InputKind* kind = kindOf({input.head(), isAll});  // some of it may have come
  while (kind == nullptr && !isAll) {
    isAll = !input.peekMore();
    kind = kindOf({input.head(), isAll});
  }
  if (isAll && input.isEmpty()) {
    throw CommandError(kExitIncomplete, input.name() + ": there is nothing in it");
  }
  if (kind == nullptr) refuse(input.name());
  return kind->open(input, sink, options);
}

}  // namespace tavrin
