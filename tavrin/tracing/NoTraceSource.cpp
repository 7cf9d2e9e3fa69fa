#include "tavrin/tracing/TraceSource.h"

// Of a build without libtracefs and libtraceevent: nothing can be traced, so nothing is opened.
namespace tavrin {

struct TraceSource::State {};

TraceSource::TraceSource() = default;
TraceSource::~TraceSource() = default;

std::string TraceSource::whyAbsent(EventGroup /*group*/) {
  return "this tool was built without libtracefs and libtraceevent";
}

void TraceSource::open(const std::vector<EventGroup>& /*groups*/) {}
void TraceSource::begin() {}
void TraceSource::end() {}

int TraceSource::addCpu(unsigned int /*cpu*/) {
  return 0;
}

bool TraceSource::take(unsigned long long /*time*/, std::size_t /*most*/, const Taker& /*taker*/) {
  return false;
}

std::vector<TraceSource::Counts> TraceSource::counts() const {
  return {};
}

}  // namespace tavrin
