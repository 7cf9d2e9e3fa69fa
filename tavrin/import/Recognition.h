#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "hostcommon/session/MessageSink.h"
#include "tavrin/common/Import.h"
#include "tavrin/import/PeekedSource.h"
#include "tavrin/platform/StopRequest.h"

namespace tavrin {

/// What the user says of an input.
struct ImportOptions {
  /// Which events of a kernel recording become metrics of their own, as `EventImport` takes them.
  std::vector<std::string> events;
  /// All files of the run, the first of which is the input: numbered ones of a continuous run.
  std::vector<std::string> files;
  /// Of the timestamp clock, for formats that do not tell it; 0 where the user says nothing.
  unsigned int clockMHz = 0;
};

/// The same with the files in the order in which their run has written them. Throws CommandError
/// where they are several, but not the numbered files of one run.
ImportOptions inRunOrder(ImportOptions options);

/// The first bytes of an input, as far as they have come.
struct InputHead {
  std::string_view bytes;
  bool isAll = false;  ///< nothing more comes, or not before the input has been recognised
};

/// A kind of input that can be imported.
struct InputKind {
  const char* name;  ///< as messages call it: "a recorded stream"
  /// Whether an input that begins so is of the kind. Asked again with every byte that comes until
  /// one of the kinds says yes, so only for bytes that no other kind begins with.
  bool (*matches)(const InputHead& head);
  /// The import of such an input. `input` and `sink` are not owned and outlive the import. Throws
  /// CommandError.
  std::unique_ptr<Import> (*open)(PeekedSource& input, pwr::MessageSink& sink,
                                  const ImportOptions& options);
};

/// Opens a file, or "-" for standard input, and what is in it where that is packed (gzip, zstd).
/// Waits for the bytes that tell so. `stop` may be null and is not owned. Throws
/// CommandError.
std::unique_ptr<PeekedSource> openInput(const std::string& path, const StopRequest* stop);

/// The import of what the content of `input` says it is; its name does not matter. Waits for as
/// many bytes as that takes. `input` and `sink` are not owned and must outlive the import. Throws
/// CommandError when the content is of none of the kinds.
std::unique_ptr<Import> openImport(PeekedSource& input, pwr::MessageSink& sink,
                                   const ImportOptions& options);

}  // namespace tavrin
