#include <gtest/gtest.h>

#include "KernelBytes.h"
#include "tavrin/decoding/EventDecoder.h"
#include "tavrin/decoding/EventFormat.h"
#include "tavrin/decoding/RingPage.h"

namespace tavrin {
namespace {

TEST(EventDecoder, ReadsFieldsWhereTheFormatsSayTheyAre) {
  EventDecoder decoder;
  ASSERT_EQ(addFormat(decoder, "cpu_idle", idleFormat()), 0);
  const auto idle = decoder.decode(idleEvent(3, IdleEvent::kLeft).content);
  ASSERT_TRUE(idle && std::holds_alternative<IdleEvent>(*idle));
  EXPECT_EQ(std::get<IdleEvent>(*idle).cpu, 3U);
  EXPECT_EQ(std::get<IdleEvent>(*idle).state, IdleEvent::kLeft);

  ASSERT_EQ(addFormat(decoder, "sched_switch",
                      formatText("sched_switch", 21,
                                 "\tfield:char next_comm[16];\toffset:8;\tsize:16;\tsigned:0;\n"
                                 "\tfield:pid_t next_pid;\toffset:24;\tsize:4;\tsigned:1;\n")),
            0);
  const Bytes swapped = Bytes::event(21, 5).text("sixteen letters!", 16).put(std::int32_t{77});
  const auto next = decoder.decode(swapped.content);
  ASSERT_TRUE(next && std::holds_alternative<SwitchEvent>(*next));
  EXPECT_EQ(std::get<SwitchEvent>(*next).name, "sixteen letters!");
  EXPECT_EQ(std::get<SwitchEvent>(*next).task, 77);
}

TEST(EventDecoder, ReadsTextsOfAnyLengthAndTheFieldsThatAllEventsHave) {
  EventDecoder decoder;
  ASSERT_EQ(
      addFormat(decoder, "sched_process_exec",
                formatText("sched_process_exec", 30,
                           "\tfield:__data_loc char[] filename;\toffset:8;\tsize:4;\tsigned:0;\n"
                           "\tfield:pid_t pid;\toffset:12;\tsize:4;\tsigned:1;\n")),
      0);
  // Ten bytes at offset 16.
  const Bytes exec = Bytes::event(30, 9)
                         .put(std::uint32_t{10U << 16U | 16U})
                         .put(std::int32_t{9})
                         .text("/bin/true", 10);
  auto what = decoder.decode(exec.content);
  ASSERT_TRUE(what && std::holds_alternative<ExecEvent>(*what));
  EXPECT_EQ(std::get<ExecEvent>(*what).path, "/bin/true");

  ASSERT_EQ(addFormat(decoder, "wakeup_source_activate",
                      formatText("wakeup_source_activate", 31,
                                 "\tfield:__rel_loc char[] name;\toffset:8;\tsize:4;\tsigned:0;\n"
                                 "\tfield:u64 state;\toffset:16;\tsize:8;\tsigned:0;\n")),
            0);
  const Bytes wakeup =
      Bytes::event(31, 9).put(std::uint32_t{4U << 16U | 12U}).put(0U).put(0ULL).text("rtc", 4);
  what = decoder.decode(wakeup.content);
  ASSERT_TRUE(what && std::holds_alternative<WakeupSourceEvent>(*what));
  EXPECT_EQ(std::get<WakeupSourceEvent>(*what).source, "rtc");

  ASSERT_EQ(
      addFormat(decoder, "task_newtask",
                formatText("task_newtask", 32,
                           "\tfield:pid_t pid;\toffset:8;\tsize:4;\tsigned:1;\n"
                           "\tfield:unsigned long clone_flags;\toffset:16;\tsize:8;\tsigned:0;\n")),
      0);
  what = decoder.decode(Bytes::event(32, 70).put(75).put(0).put(0x10F00ULL).content);
  ASSERT_TRUE(what && std::holds_alternative<NewTaskEvent>(*what));
  EXPECT_EQ(std::get<NewTaskEvent>(*what).creator, 70);
  EXPECT_TRUE(std::get<NewTaskEvent>(*what).isThread);
}

TEST(EventDecoder, ReadsWhatDriversDo) {
  EventDecoder decoder;
  ASSERT_EQ(
      addFormat(decoder, "device_pm_callback_start",
                formatText("device_pm_callback_start", 33,
                           "\tfield:__data_loc char[] device;\toffset:8;\tsize:4;\tsigned:0;\n"
                           "\tfield:__data_loc char[] pm_ops;\toffset:12;\tsize:4;\tsigned:0;\n"
                           "\tfield:int event;\toffset:16;\tsize:4;\tsigned:1;\n")),
      0);
  const Bytes callback = Bytes::event(33, 9)
                             .put(std::uint32_t{5U << 16U | 20U})
                             .put(std::uint32_t{11U << 16U | 25U})
                             .put(std::int32_t{0x10})
                             .text("usb1", 5)
                             .text("noirq bus ", 11);
  auto what = decoder.decode(callback.content);
  ASSERT_TRUE(what && std::holds_alternative<DeviceCallbackEvent>(*what));
  EXPECT_EQ(std::get<DeviceCallbackEvent>(*what).device, "usb1");
  EXPECT_EQ(std::get<DeviceCallbackEvent>(*what).operations, "noirq bus");
  EXPECT_EQ(std::get<DeviceCallbackEvent>(*what).verb, "resume");

  ASSERT_EQ(addFormat(decoder, "clk_set_rate_complete",
                      formatText("clk_set_rate_complete", 34,
                                 "\tfield:__data_loc char[] name;\toffset:8;\tsize:4;\tsigned:0;\n"
                                 "\tfield:unsigned long rate;\toffset:16;\tsize:8;\tsigned:0;\n")),
            0);
  const Bytes rate = Bytes::event(34, 9)
                         .put(std::uint32_t{5U << 16U | 24U})
                         .put(0U)
                         .put(4'800'000'000ULL)
                         .text("uart", 5);
  what = decoder.decode(rate.content);
  ASSERT_TRUE(what && std::holds_alternative<ClockRateEvent>(*what));
  EXPECT_EQ(std::get<ClockRateEvent>(*what).clock, "uart");
  EXPECT_EQ(std::get<ClockRateEvent>(*what).hertz, 4'800'000'000ULL);
}

TEST(EventDecoder, RefusesFormatsThatLackSomethingAndReadsNothingOutsideOfAnEvent) {
  EventDecoder decoder;
  EXPECT_EQ(addFormat(decoder, "cpu_idle", "nonsense"), 1);
  EXPECT_EQ(addFormat(decoder, "cpu_idle", formatText("cpu_idle", 20, "")), 1);
  EXPECT_FALSE(decoder.decode(idleEvent(1, 1).content));
  ASSERT_EQ(
      addFormat(decoder, "sched_process_exec",
                formatText("sched_process_exec", 30,
                           "\tfield:__data_loc char[] filename;\toffset:8;\tsize:4;\tsigned:0;\n"
                           "\tfield:pid_t pid;\toffset:12;\tsize:4;\tsigned:1;\n")),
      0);
  // The text says that it is longer than the event, or elsewhere; then the event is cut.
  for (const std::uint32_t location : {0xFFFF0010U, 0x0004FFFFU, 0xFFFFFFFFU}) {
    Bytes exec = Bytes::event(30, 9).put(location).put(9).text("path", 4);
    for (; !exec.content.empty(); exec.content.pop_back()) {
      const std::vector<std::byte> exact(exec.content);
      const auto what = decoder.decode(exact);
      if (!what) continue;
      EXPECT_LE(std::get<ExecEvent>(*what).path.size(), 4U);
    }
  }
}

TEST(EventFormat, TellsWhatTheFieldsAre) {
  struct Case {
    const char* declaration;
    const char* name;
    FieldPlace::Kind kind;
    bool isArray;
    bool isText;
    unsigned int elementSize;
  };
  using enum FieldPlace::Kind;
  const Case kCases[] = {
      {"int prio", "prio", Here, false, false, 0},
      {"char comm[16]", "comm", Here, true, true, 0 + 1},
      {"char comm[TASK_COMM_LEN]", "comm", Here, true, true, 1},
      {"const char * fmt", "fmt", Here, false, false, 0},
      {"const char *fmt", "fmt", Here, false, false, 0},
      {"unsigned long args[6]", "args", Here, true, false, 4},
      {"u64 values[2]", "values", Here, true, false, 8},
      {"u8 address[6]", "address", Here, true, false, 1},
      {"unsigned char address[6]", "address", Here, true, false, 1},
      {"u32 buf[]", "buf", Here, true, false, 4},
      {"__data_loc char[] name", "name", Dynamic, true, true, 1},
      {"__rel_loc char[] name", "name", Relative, true, true, 1},
      {"__data_loc unsigned short[] list", "list", Dynamic, true, false, 2},
      {"__data_loc cpumask_t mask", "mask", Dynamic, true, false, 4},
  };
  for (const Case& one : kCases) {
    SCOPED_TRACE(one.declaration);
    const auto format = EventFormat::parse(formatText("any", 7,
                                                      "\tfield:" + std::string(one.declaration) +
                                                          ";\toffset:8;\tsize:16;\tsigned:1;\n"),
                                           4);
    ASSERT_TRUE(format && format->fields.size() == 1 && format->common.size() == 4);
    const FormatField& field = format->fields[0];
    EXPECT_EQ(field.name, one.name);
    EXPECT_EQ(field.place.kind, one.kind);
    EXPECT_EQ(field.isArray, one.isArray);
    EXPECT_EQ(field.isText, one.isText);
    EXPECT_EQ(field.elementSize, one.elementSize);
    EXPECT_EQ(field.place.offset, 8U);
    EXPECT_TRUE(field.place.isSigned);
  }
}

TEST(EventFormat, RefusesWhatIsNone) {
  for (const char* const text :
       {"", "name: x\n", "ID: 5\n", "name: x\nID: 70000\n", "name: x\nID: five\n"}) {
    EXPECT_FALSE(EventFormat::parse(text, 8)) << text;
  }
  // What is no field is none; the rest stays.
  const auto format = EventFormat::parse(
      "name: x\nID: 5\n\tfield:int a;\toffset:-4;\tsize:4;\tsigned:1;\n"
      "\tfield:int b;\toffset:4;\tsize:99999999;\n\tfield:;\n\tfield:int c;\toffset:8;\tsize:4;",
      8);
  ASSERT_TRUE(format);
  EXPECT_EQ(format->find("a"), nullptr);
  EXPECT_EQ(format->find("b"), nullptr);
  ASSERT_NE(format->find("c"), nullptr);
  EXPECT_EQ(format->find("c")->place.offset, 8U);
}

/// Times of the page's events with their first bytes: "1000:20 1010:21", and what ended it.
std::string told(const Bytes& bytes, const PageShape& shape, bool isCut = false) {
  RingPage page({ByteOrder(shape.order), shape.longSize});
  page.load(bytes.content, isCut);
  std::string text;
  if (page.isAfterLoss()) text += "lost " + std::to_string(page.lost()) + " ";
  while (page.next()) {
    const auto id = ByteOrder(shape.order).number<std::uint16_t>(page.event().data());
    text += std::to_string(page.time()) + ":" + std::to_string(id) + " ";
  }
  return text + (page.fault() == nullptr ? "" : page.fault());
}

TEST(RingPage, ReadsEveryKindOfRecord) {
  constexpr std::uint64_t kHidden = 1ULL << 60U;  // a time stamp does not have that bit
  for (const PageShape& shape :
       {PageShape{std::endian::little, 8}, PageShape{std::endian::little, 4},
        PageShape{std::endian::big, 8}, PageShape{std::endian::big, 4}}) {
    const std::endian order = shape.order;
    const auto word = [&](std::uint32_t type, std::uint32_t delta) {
      return recordWord(type, delta, order);
    };
    Bytes records(order);
    records.add(recordOf(5, Bytes::event(1, 0, order), order));
    // The length is in the second word.
    records.put(word(0, 5)).put(std::uint32_t{12}).add(Bytes::event(2, 0, order));
    records.put(word(30, 3)).put(std::uint32_t{2});         // a time that is long: 2 << 27 and 3
    records.put(word(29, 7)).put(std::uint32_t{8}).put(0);  // an event that was taken back
    records.add(recordOf(0, Bytes::event(3, 0, order), order));
    records.put(word(31, 9)).put(std::uint32_t{4});  // the time itself
    records.add(recordOf(1, Bytes::event(4, 0, order), order));
    const std::uint64_t used = records.content.size() + 4;
    records.put(word(29, 0));
    Bytes page = pageOf(kHidden + 1000, records, kMissedEvents | kMissedStored, shape);
    Bytes count = Bytes(order).putLong(77, shape.longSize);
    std::ranges::copy(count.content,
                      page.content.begin() + static_cast<long>(8 + shape.longSize + used));
    const auto at = [](std::uint64_t time) { return std::to_string(kHidden + time); };
    EXPECT_EQ(told(page, shape), "lost 77 " + at(1005) + ":1 " + at(1010) + ":2 " +
                                     at((2ULL << 27U) + 1020) + ":3 " + at((4ULL << 27U) + 10) +
                                     ":4 ");
  }
}

TEST(RingPage, EndsAtWhatNoKernelWrites) {
  const PageShape shape{.longSize = 8, .size = 64};
  const Bytes good = recordOf(5, Bytes::event(1, 0));
  struct Case {
    Bytes page;
    std::string told;
  };
  const Case kCases[] = {
      {pageOf(10, Bytes(), 0, shape), ""},
      {pageOf(10, Bytes(good).put(0U).put(0U), 0, shape), "15:1 an event has no length"},
      {pageOf(10, Bytes(good).put(28U), 0, shape),
       "15:1 an event is longer than what is left of its page"},
      {pageOf(10, Bytes(good).put(0U).put(~0U), 0, shape),
       "15:1 an event is longer than what is left of its page"},
      {pageOf(10, Bytes(good).put(29U | 32U).put(~0U), 0, shape),
       "15:1 an event is longer than what is left of its page"},
      {pageOf(10, good, 4096, shape), "the page says that it has more than there is room for"},
      {Bytes().put(10ULL).put(4), "the page ends within its header"},
      {Bytes(), "the page ends within its header"},
  };
  for (const Case& one : kCases) EXPECT_EQ(told(one.page, shape), one.told);

  // Cut at every byte, in memory of exactly that size.
  const Bytes whole = pageOf(10, Bytes(good).add(good), 0, shape);
  for (std::size_t size = 0; size <= whole.content.size(); ++size) {
    Bytes cut;
    cut.content = std::vector<std::byte>(whole.content.begin(),
                                         whole.content.begin() + static_cast<long>(size));
    EXPECT_EQ(told(cut, shape, true), size < 16   ? "the page ends within its header"
                                      : size < 28 ? "an event is cut off"
                                      : size < 40 ? "15:1 an event is cut off"
                                                  : "15:1 20:1 ")
        << size;
  }
}

}  // namespace
}  // namespace tavrin
