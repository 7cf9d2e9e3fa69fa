#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#include "formats/ztbin_format.h"
#include "writers/continuous/RecordBlocks.h"
#include "writers/host/Logger.h"

/// Data points that wait for being written to a file. Until then a point is 12 bytes and its sample
/// 16 more; they become records on their way into the file. Keeping the records of 27 bytes instead
/// takes half as long again: getting and filling memory is what a point costs.
class PointBuffer {
 public:
  /// Adds a point of a sample. `duration` is in microseconds, `key` the index of the key text,
  /// `descriptor` the id of the descriptor.
  void add(float duration, std::uint16_t key, std::uint16_t descriptor, float value) {
    ::new (points_.append(sizeof(Point))) Point{duration, key, descriptor, value};
  }
  /// The `points` points added last, at least one, are of this metric and time in ticks. To be
  /// called after every sample. Samples of one metric and time that follow each other, as from a
  /// host that sends a message for every entity, are kept as one.
  void endSample(std::uint64_t timestamp, std::uint32_t metric, std::uint32_t points) {
    if (lastSample_ != nullptr && lastSample_->timestamp == timestamp &&
        lastSample_->metric == metric && lastSample_->points <= kMostPoints - points) {
      lastSample_->points += points;
    } else {
      lastSample_ = ::new (samples_.append(sizeof(Sample))) Sample{timestamp, metric, points};
    }
  }

  /// Bytes of the records of all points.
  std::size_t size() const { return points_.size() / sizeof(Point) * ztbin::point_record::kSize; }
  /// Hands the records of all points to `output`; the points stay here. Returns 0, or 1 when they
  /// were not all taken.
  int writeTo(pwr::Logger& output) const;
  /// Forgets all points and gives their memory back.
  void clear();

 private:
  struct Sample {
    std::uint64_t timestamp;
    std::uint32_t metric;
    std::uint32_t points;
  };
  struct Point {
    float duration;
    std::uint16_t key;
    std::uint16_t descriptor;
    float value;
  };

  static constexpr std::uint32_t kMostPoints = 0xFFFFFFFF;

  static void putRecord(std::byte* place, const Sample& sample, const Point& point);

  RecordBlocks samples_;
  Sample* lastSample_ = nullptr;  ///< in `samples_`
  RecordBlocks points_;
};
