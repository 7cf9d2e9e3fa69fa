#pragma once

#include "writers/host/HostApi.h"
#include "writers/host/Message.h"
#include "writers/host/SystemMetadata.h"

namespace pwr {

/// Carries the system description; the first message that a writer gets.
class PW_HOST_API SystemMessage : public Message {
 public:
  /// `metadata` is not owned and stays valid until every writer is closed.
  explicit SystemMessage(const SystemMetadata* metadata);
  ~SystemMessage() override;

  /// Valid until `closeOutput` has returned. The host completes it (stop timestamp, duration,
  /// processes) before it closes the outputs.
  const SystemMetadata* getSystemMetadata() const { return metadata_; }

 private:
  const SystemMetadata* metadata_;
};

}  // namespace pwr
