#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "tavrin/decoding/RingPage.h"

namespace tavrin {

/// The text that `trace_printk` would have made, had it not left that to the reader: its format,
/// and the values that it has stored for it (lib/vsprintf.c, `vbin_printf`). What is missing of
/// them counts as 0; nothing outside of them is read.
///
/// `symbolAt` tells the name of what the kernel has at an address; empty where it is not known.
std::string printText(std::string_view format, std::span<const std::byte> values,
                      const RingLayout& layout,
                      const std::function<std::string(std::uint64_t)>& symbolAt);

}  // namespace tavrin
