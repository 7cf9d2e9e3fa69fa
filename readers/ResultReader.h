#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "readers/ResultFile.h"

namespace tavrin {

/// Stands for "none" wherever the position of something is asked for.
inline constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

/// A file that cannot be read, or is not as its format has it: "run.ztbin: offset 64: expected …".
class ResultError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A name and what goes by it, as text.
struct Fact {
  std::string name;
  std::string value;
};

/// What the numbers of a metric are.
enum class MetricKind : std::uint8_t {
  SampledDelta,      ///< growth of a counter during the duration
  SampledResidency,  ///< time in a state during the duration
  SampledValue,      ///< a reading
  TracedTransition,  ///< a change to a new value, which lasts for the duration
  TracedEvent,
  Unknown,
};

/// What is known of a run's clock. Times of the points are in `Ticks`, in the trace of a whole run
/// in `Microseconds` from the start of the collection.
enum class TimeUnit : std::uint8_t { Ticks, Microseconds };

struct Clock {
  TimeUnit timeUnit = TimeUnit::Ticks;
  /// Ticks per microsecond. A timeline file tells it, of the others it follows from the length of
  /// the collection; unknown where the collection was not over.
  std::optional<double> mhz;
  std::uint64_t start = 0;  ///< of the collection, in ticks
  std::uint64_t stop = 0;   ///< its end; 0 for unknown
  double durationSec = 0.0;
  std::uint64_t startNs = 0;  ///< since 1970 (UTC); 0 for unknown
};

/// What a metric is measured on: a processor, a disk.
struct Entity {
  std::string_view qualifiedName;  ///< "Package0/Core1/CPU1"
  std::string_view name;           ///< "CPU1"; the qualified one where a format has only that
  std::string_view level;          ///< "Thread"; empty for unknown
  std::uint32_t parent = kNone;    ///< position in `entities()`
};

/// The rate of a quantity: value * factor / seconds, in `units`.
struct MetricRate {
  std::string_view name;
  std::string_view units;
  double factor = 1.0;
};

struct MetricCombination {
  std::uint32_t entity = kNone;  ///< position in `entities()`
  bool hasDescriptor = false;
  std::string_view descriptor;
  std::string_view attributeText;  ///< of the descriptor, where the file has it
  std::string_view description;    ///< of the descriptor, where the file has it
};

struct Metric {
  std::string_view name;
  std::string_view feature;  ///< tag of its feature; empty for unknown
  MetricKind kind = MetricKind::Unknown;
  std::string_view kindName;  ///< as the file calls it: "SAMPLED_DELTA", "Sampled Counter"
  std::string_view quantity;  ///< empty for none or unknown
  /// Number of the quantity's kind (docs/formats/timeline.md); only timeline files have it.
  std::optional<std::uint32_t> quantityKind;
  /// Of the values that the points have; empty for none or unknown.
  std::string_view units;
  std::optional<MetricRate> rate;        ///< that the quantity has
  bool isRate = false;                   ///< the values are rates already, `units` are theirs
  std::string_view baseUnits;            ///< of the quantity then
  std::int64_t number = 0;               ///< that the file gives it
  std::vector<std::string_view> states;  ///< the values it can take, where they are few
  /// What the file says to be measured on what, before any point; may be empty. A timeline file
  /// and the trace of a whole run tell descriptors without entities.
  std::vector<MetricCombination> combinations;
  std::vector<Fact> details;  ///< what else the file says of it
};

/// Points with one meaning: a metric, on an entity, of one descriptor.
struct Series {
  std::uint32_t metric = 0;        ///< position in `metrics()`
  std::uint32_t entity = kNone;    ///< position in `entities()`
  std::string_view descriptor;     ///< "C6"; empty for none
  std::string_view attributeText;  ///< of the descriptor, where the file has it
  std::string_view description;    ///< of the descriptor, where the file has it
  std::string_view label;          ///< how the file calls what was measured
};

enum class ValueType : std::uint8_t { Real, Signed, Unsigned, Text };

/// One value at one time. What it points to is valid until the next one is read.
struct Point {
  std::uint64_t time = 0;  ///< see `Clock`
  /// Microseconds; of a quantity that is a rate in its own unit. NaN for unknown.
  double duration = 0.0;
  std::uint32_t series = 0;  ///< position in `series()`
  ValueType type = ValueType::Real;
  /// NaN for a text. The state of a metric is a text in a timeline file; the other formats have the
  /// time spent in it instead.
  double value = 0.0;
  std::uint64_t bits = 0;      ///< of a whole number, which may have more digits than `value`
  std::uint32_t text = kNone;  ///< position in `texts()`
  bool isRange = false;        ///< from `value` to `upper`, `bits` to `upperBits`
  double upper = 0.0;
  std::uint64_t upperBits = 0;
  /// Belongs to the same sample of the file as the point before: the trace of a whole run has
  /// several values in one.
  bool isContinued = false;
  std::uint32_t process = kNone;               ///< position in `processes()`
  std::uint32_t thread = kNone;                ///< position in `threads()`
  std::span<const std::uint32_t> annotations;  ///< further texts of the point
};

/// A process or a thread of a timeline file.
struct Task {
  std::uint32_t number = 0;  ///< PID or TID
  std::string_view name;     ///< path, or name where that is unknown
  std::string_view shortName;
  std::string_view lifetime;      ///< "start S end E" in ticks; empty for unknown
  std::uint32_t process = kNone;  ///< that started the process, or has the thread
};

/// Points column by column, for arrays. All columns have the same length.
struct PointColumns {
  std::vector<std::uint64_t> time;
  std::vector<double> duration;
  std::vector<std::uint32_t> series;
  std::vector<double> value;
  std::vector<std::uint32_t> text;
};

class ResultSource;

/// Reads what the writers `bin`, `json` and `korvell` have written: the result of a run, whichever
/// of the formats it has. The content decides, not the name.
///
///     try {
///       tavrin::ResultReader reader({"run.ztbin"});
///       tavrin::Point point;
///       while (reader.next(point)) {
///         const tavrin::Series& series = reader.series()[point.series];
///         const tavrin::Metric& metric = reader.metrics()[series.metric];
///         std::cout << point.time << ' ' << metric.name << ' ' << series.label << ' '
///                   << series.descriptor << ' ' << point.value << ' ' << metric.units << '\n';
///       }
///     } catch (const tavrin::ResultError& fault) {
///       std::cerr << fault.what() << '\n';
///     }
///
/// Points come in the order of the file: that in which they were measured, but in a timeline file
/// and in the trace of a whole run metric by metric. Within a series times never fall, but for the
/// states of a timeline file, which stand where they ended.
///
/// What is described stays in memory, points do not; a ".ztjson" file is in memory while it is
/// read. Every byte is checked. After a fault, what was read before it can still be asked for, and
/// every further call of `next` or `read` throws it again. Not for use by several threads at once;
/// readers of their own may be.
class ResultReader {
 public:
  /// The file of a run, or the numbered ones of a continuous run in their order. Names are UTF-8.
  /// Reads up to the first point. Throws ResultError and std::bad_alloc.
  explicit ResultReader(std::vector<std::string> files);
  /// The same where the first of the files is open already.
  ResultReader(std::unique_ptr<ResultFile> first, std::vector<std::string> files);
  ~ResultReader();
  ResultReader(const ResultReader&) = delete;
  ResultReader& operator=(const ResultReader&) = delete;

  /// Reads the next point; false behind the last one. Throws ResultError and std::bad_alloc.
  bool next(Point& point);
  /// Appends at most `most` points to `columns`, and returns how many; 0 behind the last one.
  /// Throws like `next`; the points before the fault have been appended then.
  std::size_t read(PointColumns& columns, std::size_t most);

  ResultFormat format() const { return format_; }
  /// Whether the file has its reals in single precision, so that they have few digits as such.
  bool isSinglePrecision() const { return format_ == ResultFormat::BinaryStream; }

  // What was read so far: the first of each after the constructor, more with each file of a
  // continuous run and, of series and texts, with each point. Positions and texts stay as they are.
  Clock clock() const;
  /// What the last file says of the machine and the collection, in its order.
  std::vector<Fact> system() const;
  /// What else is to be said of the files, as numbers of records. Complete behind the last point.
  std::vector<Fact> remarks() const;
  const std::deque<Metric>& metrics() const;
  const std::deque<Entity>& entities() const;
  const std::deque<Series>& series() const;
  /// States, texts and annotations of points.
  const std::deque<std::string_view>& texts() const;
  const std::deque<Task>& processes() const;
  const std::deque<Task>& threads() const;

 private:
  void start();
  void openNext();
  template <typename Action>
  bool guarded(const Action& action);

  std::vector<std::string> names_;
  std::size_t nameAt_ = 0;  ///< of the next file
  ResultFormat format_ = ResultFormat::BinaryStream;
  std::unique_ptr<ResultFile> file_;
  std::unique_ptr<ResultSource> source_;
  bool isAtEnd_ = false;
  std::string fault_;
};

}  // namespace tavrin
