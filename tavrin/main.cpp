#include <exception>

#include "tavrin/CommandError.h"
#include "tavrin/CommandLine.h"
#include "tavrin/Messages.h"
#include "tavrin/run/ProcessStart.h"

int main(int argc, char** argv) {
  try {
    return tavrin::runCommandLine(tavrin::startProcess(argc, argv));
  } catch (const tavrin::CommandError& error) {
    tavrin::fail(error.what());
    return error.status();
  } catch (const std::exception& error) {
    tavrin::fail(error.what());
    return tavrin::kExitIncomplete;
  }
}
