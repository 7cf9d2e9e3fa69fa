#include "writers/timeline/InfoTexts.h"

#include "formats/pwr_format.h"

InfoTexts InfoTexts::fitting(std::string_view typeName) const {
  std::size_t room = pwrfile::info_record::kMaxNames - 1 - typeName.size();
  InfoTexts fit;
  fit.shortName = cutToFit(shortName, room / 2);
  room -= fit.shortName.size();
  fit.longName = cutToFit(longName, room);
  room -= fit.longName.size();
  fit.description = cutToFit(description, room);
  return fit;
}

std::string_view cutToFit(std::string_view text, std::size_t maxBytes) {
  if (text.size() <= maxBytes) return text;
  const auto continuesCharacter = [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
  };
  std::size_t size = maxBytes;
  while (size > 0 && continuesCharacter(text[size])) --size;
  return text.substr(0, size);
}
