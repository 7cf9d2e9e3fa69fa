#pragma once

#include <string>

#include "writers/host/HostApi.h"
#include "writers/host/Message.h"

namespace pwr {

/// Kinds of text message. The number of Header is part of the host interface.
enum class TextMessageKind : int { Plain = 0, Header = 5 };

/// Free text for the writers that print it. Its id is unique in the process.
class PW_HOST_API TextMessage : public Message {
 public:
  TextMessage();
  ~TextMessage() override;

  virtual TextMessageKind getKind() const;
  const std::string& getMessage() const { return text_; }
  /// Always returns 0.
  int setMessage(const std::string& text);

 private:
  std::string text_;
};

/// The report's header text, which precedes everything else.
class PW_HOST_API HeaderTextMessage : public TextMessage {
 public:
  HeaderTextMessage();
  ~HeaderTextMessage() override;

  TextMessageKind getKind() const override;
};

}  // namespace pwr
