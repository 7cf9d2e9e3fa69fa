#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

using PwrAttributes = std::vector<std::pair<std::uint32_t, std::uint64_t>>;
constexpr std::uint32_t kNoPwrParent = 0xFFFFFFFF;

/// Builds a timeline file byte by byte, without any code of its writer or its reader, and remembers
/// where its records begin.
class PwrFileBuilder {
 public:
  explicit PwrFileBuilder(std::uint16_t version = 2) : version_(version) {}

  template <typename... T>
  PwrFileBuilder& put(T... numbers) {
    (putOne(numbers), ...);
    return *this;
  }
  PwrFileBuilder& text(const std::string& text) {
    bytes += text;
    return *this;
  }
  PwrFileBuilder& terminated(const std::string& text) { return this->text(text + '\0'); }
  PwrFileBuilder& mark(const std::string& name) {
    places[name] = bytes.size();
    return *this;
  }
  template <typename... T>
  PwrFileBuilder& fixed(const char* name, std::uint16_t id, std::uint16_t length, T... numbers) {
    return mark(name).put(0x02400000U, length, id, 1U, numbers...);
  }
  void info(std::uint32_t id, const std::string& type, const std::string& longName,
            const std::string& shortName, std::uint32_t value = 0,
            std::uint32_t parent = kNoPwrParent, const std::string& description = "") {
    if (type != "info_type_info" && !types_.contains(type)) {
      types_.emplace(type, 100 + types_.size());
      info(types_[type], "info_type_info", type, type);
    }
    const auto size = [](const std::string& text) {
      return static_cast<std::uint16_t>(text.size());
    };
    const std::string names = longName + shortName + type + description;
    mark("info " + std::to_string(id))
        .put(0x02400010U, std::uint64_t{0}, static_cast<std::uint16_t>(names.size() + 33),
             0x00070048U, version_, types_[type], value, parent, id, size(longName),
             size(shortName), size(type), size(description))
        .terminated(names);
  }
  void data(const char* name, std::uint64_t tsc, const PwrAttributes& attributes) {
    const auto count = static_cast<std::uint16_t>(attributes.size());
    mark(name).put(0x02400010U, tsc, static_cast<std::uint16_t>(count * 12 + 10), 0x00060047U,
                   version_, count);
    for (const auto& [type, value] : attributes) put(type, value);
  }
  void magic(const char* name) { mark(name).put(0x08000000U, 0xADDEDEFAU); }

  std::string bytes;
  std::map<std::string, std::size_t> places;

 private:
  template <typename T>
  void putOne(T number) {
    for (std::size_t i = 0; i < sizeof number; ++i) {
      bytes += static_cast<char>(static_cast<std::uint64_t>(number) >> (8 * i));
    }
  }

  std::uint16_t version_;
  std::map<std::string, std::uint32_t> types_{{"info_type_info", 0}};
};

inline void putFixedPwrRecords(PwrFileBuilder& file) {
  using u8 = std::uint8_t;
  using u16 = std::uint16_t;
  using u64 = std::uint64_t;
  file.magic("magic");
  file.fixed("collection", 44, 30, u16{1}, u16{2}, 3U, u64{1} << 43U, u8{5}).text("power");
  file.fixed("system", 45, 37, u16{5}, u16{6}, u16{1}, u16{0}, u16{0}, u16{4}).terminated("lab");
  file.put(u16{2}).terminated("P").put(u16{4}).terminated("O\tS").put(u16{1}, u8{0});
  file.fixed("hardware", 18, 48, u64{2000}, u64{2000}, ~u64{0}, u8{64}, u8{6}, u8{0x8F}, u8{1}, 2U);
  file.put(0U, 0x01000000U);
  file.mark("start").put(0x22000020U, 0x02000020U, u8{2}, u64{4000}, u64{17000000000000005});
  file.fixed("frequency", 63, 62, u16{12}, u64{0}, u64{0}, u64{0}, u64{0}, u64{0}, u64{0}, 2400U);
}

inline void putPwrMetadata(PwrFileBuilder& file) {
  const char* const classes[][2] = {
      {"Sampled Finite Set Counter", "SFSC"}, {"Value", "Value"},
      {"Sampled Finite Set Value", "SFSV"},   {"Traced Finite Set Counter", "TFSC"},
      {"Sampled Counter", "Sampled Counter"}, {"Traced Event", "Traced Event"}};
  for (std::uint32_t n = 0; n < 6; ++n) {
    file.info(n + 1, "metric_type", classes[n][0], classes[n][1], n + 4);
  }
  file.info(10, "tab_group", "Power", "power");
  file.info(11, "timeline_group", "Power", "power", 0, 10);
  file.info(12, "quantity", "Power", "W", 6);
  file.info(13, "quantity", "Energy", "mJ", 5, 12, "multiplier 0.001");
  file.info(14, "entity", "Package0", "Package0", 0, kNoPwrParent, "Package");
  file.info(15, "entity", "Package0/Core0", "Core0", 0, 14, "Core");
  file.info(16, "field", "Energy", "Energy");
  file.info(17, "color", "C6", "#0001FF", 0x1FF);
  file.info(20, "metric", "Cores", "core", 7);
  file.info(21, "metric_type_id", "Cores", "Sampled Counter", 8, 20);
  file.info(22, "tab_group_id", "Cores", "Power", 10, 20);
  file.info(23, "timeline_group_id", "Cores", "Power", 11, 20);
  file.info(24, "quantity_id", "Cores", "Energy", 13, 20);
  file.info(25, "field_id", "Cores", "Energy", 16, 20);
  file.info(26, "state", "C6", "C6", 17, 20);
  file.info(30, "metric", "Events", "wake", 9);
  file.info(31, "metric_type_id", "Events", "Traced Event", 9, 30);
  file.info(32, "tab_group_id", "Events", "Power", 10, 30);
  file.info(33, "timeline_group_id", "Events", "Power", 11, 30);
  file.info(40, "process", "/bin/a", "a", 501, kNoPwrParent, "start 1 end 0");
  file.info(41, "thread", "Thread 502", "502", 502, 40, "start 2 end 9");
  file.info(42, "nameid_attribute", "woke\tup", "woke\tup");
}

/// A file with a record of every kind, two metrics and four data records.
inline PwrFileBuilder soundPwrFile(std::uint16_t version = 2) {
  PwrFileBuilder file(version);
  putFixedPwrRecords(file);
  putPwrMetadata(file);
  file.magic("closing");
  file.data("data 1", 5000,
            {{0, 20}, {1, 15}, {2, 16}, {6, 13}, {11, 0x3FF8000000000000}, {7, 17}, {18, 2000}});
  file.data("data 2", 4000, {{0, 20}, {1, 15}, {9, ~std::uint64_t{2}}, {8, 42}});
  file.data("data 3", 6000, {{0, 20}, {6, 12}, {14, 1}, {15, 2}});
  file.data("data 4", 7000, {{0, 30}, {3, 40}, {4, 41}, {8, 42}, {8, 42}, {18, 10}});
  return file;
}
