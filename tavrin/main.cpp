#include <exception>

#include "hostcommon/session/HostError.h"
#include "tavrin/Commands.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"
#include "tavrin/platform/OutOfMemory.h"
#include "tavrin/platform/ProcessStart.h"

int main(int argc, char** argv) {
  try {
    tavrin::exitWhenMemoryRunsOut();
    tavrin::logToStandardError();
    return tavrin::runCommandLine(tavrin::startProcess(argc, argv));
  } catch (const tavrin::CommandError& error) {
    tavrin::fail(error.what());
    return error.status();
  } catch (const pwr::HostError& error) {
    tavrin::fail(error.what());
    const bool isRequest = error.cause() == pwr::HostError::Cause::Request;
    return isRequest ? tavrin::kExitUsage : tavrin::kExitIncomplete;
  } catch (const std::exception& error) {
    tavrin::fail(error.what());
    return tavrin::kExitIncomplete;
  }
}
