#pragma once

#include <functional>
#include <string>
#include <vector>

#include "KernelBytes.h"

namespace tavrin {

/// Makes small kernel recordings (trace-cmd.dat.v6(5), trace-cmd.dat.v7(5)) of two CPUs and one
/// more buffer, whose events are the same whatever its shape is.
class RecordingBuilder {
 public:
  struct Shape {
    int version = 6;
    std::endian order = std::endian::little;
    std::size_t longSize = 8;
    /// Packs bytes as the recording's packing does; null where it has none.
    std::function<std::string(const std::string&)> pack{};
    std::string packing = "none";
  };
  struct Option {
    std::uint16_t number;
    std::string data;
  };

  static constexpr std::size_t kPageSize = 256;
  static constexpr std::uint64_t kFormatAddress = 0x80001000;

  explicit RecordingBuilder(Shape shape) : shape_(std::move(shape)) {}

  /// Of the recording as a whole.
  void addOption(std::uint16_t number, const Bytes& data) {
    options_.push_back({number, textOf(data)});
  }
  Bytes bytes() const { return Bytes(shape_.order); }

  std::string build() {
    file_ = Bytes(shape_.order).text("\x17\x08\x44tracing").text(std::to_string(shape_.version), 2);
    file_.put(static_cast<std::uint8_t>(file_.isBig()))
        .put(static_cast<std::uint8_t>(shape_.longSize));
    file_.put(static_cast<std::uint32_t>(kPageSize));
    shape_.version == 6 ? buildFlat() : buildSections();
    return textOf(file_);
  }

  /// The pages of the first CPU, of the second one, and of the further buffer.
  std::vector<Bytes> pages() const {
    const std::endian order = shape_.order;
    const auto at = [&](std::uint32_t delta, const Bytes& event) {
      return recordOf(delta, event, order);
    };
    const auto page = [&](std::uint64_t time, const Bytes& records, std::uint64_t flags = 0) {
      return pageOf(time, records, flags, {order, shape_.longSize, kPageSize});
    };
    Bytes first = page(1000, Bytes(order)
                                 .add(at(0, idleEvent(0, 1, order)))
                                 .add(at(40, custom(-7)))
                                 .add(at(10, idleEvent(0, IdleEvent::kLeft, order))));
    first.add(page(2000, Bytes(order).add(at(1, idleEvent(0, 2, order)))));
    Bytes second = page(1010, Bytes(order).add(at(0, print("hello\n"))).add(at(10, binaryPrint())));
    second.add(page(3000, Bytes(order).add(at(0, idleEvent(1, 0, order))), kMissedEvents));
    second.add(page(0, Bytes(order)));  // as the tail of a file that grew too far
    return {first, second, page(1500, Bytes(order).add(at(5, idleEvent(1, 3, order))))};
  }

 private:
  static std::string textOf(const Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.content.data()), bytes.content.size()};
  }
  std::string longField(const std::string& declaration, std::size_t offset) const {
    return "\tfield:" + declaration + ";\toffset:" + std::to_string(offset) +
           ";\tsize:" + std::to_string(shape_.longSize) + ";\tsigned:0;\n";
  }

  // Events, each with its format.
  Bytes custom(std::int32_t number) const {
    return Bytes::event(40, 12, shape_.order)
        .put(number)
        .put(std::uint32_t{5U << 16U | 28U})
        .put(std::uint16_t{1})
        .put(std::uint16_t{2})
        .text("abcd", 8)
        .text("text", 8);
  }
  static std::string customFormat() {
    return formatText("custom", 40,
                      "\tfield:int number;\toffset:8;\tsize:4;\tsigned:1;\n"
                      "\tfield:__data_loc char[] word;\toffset:12;\tsize:4;\tsigned:0;\n"
                      "\tfield:u16 list[2];\toffset:16;\tsize:4;\tsigned:0;\n"
                      "\tfield:char letters[8];\toffset:20;\tsize:8;\tsigned:0;\n");
  }
  Bytes print(const std::string& text) const {
    return Bytes::event(5, 12, shape_.order).putLong(0, shape_.longSize).text(text, 8);
  }
  std::string printFormat() const {
    return formatText("print", 5,
                      longField("unsigned long ip", 8) + "\tfield:char buf[];\toffset:" +
                          std::to_string(8 + shape_.longSize) + ";\tsize:0;\tsigned:0;\n");
  }
  Bytes binaryPrint() const {
    return Bytes::event(6, 12, shape_.order)
        .putLong(0, shape_.longSize)
        .putLong(kFormatAddress, shape_.longSize)
        .put(std::int32_t{-3})
        .text("w", 4)
        .putLong(0x80002004, shape_.longSize);
  }
  std::string binaryPrintFormat() const {
    return formatText("bprint", 6,
                      longField("unsigned long ip", 8) +
                          longField("const char * fmt", 8 + shape_.longSize) +
                          "\tfield:u32 buf[];\toffset:" + std::to_string(8 + 2 * shape_.longSize) +
                          ";\tsize:0;\tsigned:0;\n");
  }

  // The parts that both versions have.
  Bytes sized(const std::string& text) const {
    return bytes().put(static_cast<std::uint64_t>(text.size())).text(text);
  }
  Bytes headers() const {
    return bytes()
        .text("header_page", 12)
        .add(sized("\tfield: u64 timestamp;\toffset:0;\tsize:8;\tsigned:0;\n" +
                   longField("local_t commit", 8)))
        .text("header_event", 13)
        .add(sized("# compressed entry header\n"));
  }
  Bytes tracerFormats() const {
    return bytes().put(std::uint32_t{2}).add(sized(printFormat())).add(sized(binaryPrintFormat()));
  }
  Bytes eventFormats() const {
    return bytes()
        .put(std::uint32_t{2})
        .text("power", 6)
        .put(std::uint32_t{1})
        .add(sized(idleFormat()))
        .text("own", 4)
        .put(std::uint32_t{1})
        .add(sized(customFormat()));
  }
  Bytes table32(const std::string& text) const {
    return bytes().put(static_cast<std::uint32_t>(text.size())).text(text);
  }
  Bytes symbols() const {
    return table32("80002000 T some_function\n80003000 t other\t[module]\n");
  }
  Bytes printFormats() const { return table32("0x80001000 : \"number %03d of %s at %ps\\n\"\n"); }
  Bytes taskNames() const { return sized("12 the task\n"); }

  void patch(std::size_t place, std::uint64_t number) {
    const Bytes bytes = Bytes(shape_.order).put(number);
    std::ranges::copy(bytes.content, file_.content.begin() + static_cast<long>(place));
  }
  std::uint64_t size() const { return file_.content.size(); }
  void fillPage() { file_.content.resize((size() + kPageSize - 1) / kPageSize * kPageSize); }
  void putOption(std::uint16_t number, const std::string& data) {
    file_.put(number).put(static_cast<std::uint32_t>(data.size())).text(data);
  }

  void buildFlat() {
    for (const Bytes& part :
         {headers(), tracerFormats(), eventFormats(), symbols(), printFormats(), taskNames()}) {
      file_.add(part);
    }
    file_.put(std::uint32_t{2}).text("options", 7).text("  ", 3);
    for (const Option& option : options_) putOption(option.number, option.data);
    const std::size_t bufferPlace = size() + 6;
    putOption(3, std::string(8, '\0') + "further" + '\0');
    file_.put(std::uint16_t{0});
    const std::vector<Bytes> pages = this->pages();
    file_.text("flyrecord", 10);
    const std::size_t table = size();
    file_.content.resize(size() + 32);
    patch(bufferPlace, size());
    file_.text("flyrecord", 10);
    const std::size_t furtherTable = size();
    file_.content.resize(size() + 32);
    fillPage();
    putPages(table, pages[0]);
    putPages(table + 16, pages[1]);
    putPages(furtherTable + 16, pages[2]);
  }

  /// Tells in the table where the pages are.
  void putPages(std::size_t table, const Bytes& pages) {
    patch(table, size());
    patch(table + 8, pages.content.size());
    file_.add(pages);
  }

  void buildSections() {
    file_.text(shape_.packing).put('\0').text("1.0", 4);
    const std::size_t optionsPlace = size();
    file_.put(std::uint64_t{0});
    std::vector<Option> options = options_;
    const std::vector<std::pair<std::uint16_t, Bytes>> parts = {
        {16, headers()}, {17, tracerFormats()}, {18, eventFormats()},
        {19, symbols()}, {20, printFormats()},  {21, taskNames()}};
    for (const auto& [number, part] : parts) {
      options.push_back({number, textOf(bytes().put(putSection(number, part)))});
    }
    patch(optionsPlace, size());
    const std::size_t next = putOptions(options);
    const std::vector<Bytes> pages = this->pages();
    const std::string top = putBuffer("", {{0, pages[0]}, {1, pages[1]}});
    const std::string further = putBuffer("further", {{1, pages[2]}});
    patch(next, size());
    putOptions({{3, top}, {3, further}});
  }

  void putHeader(std::uint16_t number, bool isPacked, std::uint64_t length) {
    file_.put(number).put(static_cast<std::uint16_t>(isPacked)).put(std::uint32_t{0}).put(length);
  }

  std::uint64_t putSection(std::uint16_t number, const Bytes& part) {
    const std::uint64_t place = size();
    const std::string plain = textOf(part);
    if (!shape_.pack) {
      putHeader(number, false, plain.size());
      file_.text(plain);
    } else {
      const std::string packed = shape_.pack(plain);
      putHeader(number, true, packed.size() + 8);
      putPack(packed, plain.size());
    }
    return place;
  }
  void putPack(const std::string& packed, std::size_t plainSize) {
    file_.put(static_cast<std::uint32_t>(packed.size()));
    file_.put(static_cast<std::uint32_t>(plainSize)).text(packed);
  }

  /// Returns the place that tells where there are more.
  std::size_t putOptions(const std::vector<Option>& options) {
    std::size_t length = 14;
    for (const Option& option : options) length += 6 + option.data.size();
    putHeader(0, false, length);
    for (const Option& option : options) putOption(option.number, option.data);
    putOption(0, std::string(8, '\0'));
    return size() - 8;
  }

  /// Returns the data of its option.
  std::string putBuffer(const std::string& name,
                        const std::vector<std::pair<std::uint32_t, Bytes>>& cpus) {
    Bytes option = bytes().put(size()).text(name).put('\0').text("mono", 5);
    option.put(static_cast<std::uint32_t>(kPageSize));
    option.put(static_cast<std::uint32_t>(cpus.size()));
    putHeader(3, bool(shape_.pack), 0);
    fillPage();
    for (const auto& [cpu, pages] : cpus) {
      const std::uint64_t begin = size();
      if (shape_.pack) {
        putPacks(textOf(pages));
      } else {
        file_.add(pages);
      }
      // The number of packs is not counted.
      option.put(cpu).put(begin).put(size() - begin - (shape_.pack ? 4 : 0));
    }
    return textOf(option);
  }
  /// Two pages in each pack.
  void putPacks(const std::string& pages) {
    constexpr std::size_t kPack = 2 * kPageSize;
    file_.put(static_cast<std::uint32_t>((pages.size() + kPack - 1) / kPack));
    for (std::size_t i = 0; i < pages.size(); i += kPack) {
      const std::string plain = pages.substr(i, kPack);
      putPack(shape_.pack(plain), plain.size());
    }
  }

  const Shape shape_;
  std::vector<Option> options_;
  Bytes file_;
};

}  // namespace tavrin
