#pragma once

#include <cstdio>

namespace tavrin {

/// Whether the stream is a terminal that knows escape sequences.
bool isCapableTerminal(FILE* stream);

/// Whether the user has nothing against colours (NO_COLOR).
bool allowsColours();

struct TerminalSize {
  unsigned int columns = 80;
  unsigned int lines = 24;
};
/// The usual size where the terminal does not tell.
TerminalSize terminalSize(FILE* stream);

}  // namespace tavrin
