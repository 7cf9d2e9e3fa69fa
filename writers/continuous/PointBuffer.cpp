#include "writers/continuous/PointBuffer.h"

#include <algorithm>
#include <vector>

#include "writers/common/LittleEndian.h"

namespace {

namespace record = ztbin::point_record;

// Large enough for the file system to take the bytes in large pages; stays in a processor's cache.
constexpr std::size_t kRecordsPerWrite = std::size_t{1024} * 1024 / record::kSize;

}  // namespace

void PointBuffer::putRecord(std::byte* place, const Sample& sample, const Point& point) {
  putLittleEndian(place, std::uint16_t{record::kSize - ztbin::kHeaderSize});
  place[ztbin::kTypeOffset] = static_cast<std::byte>(ztbin::RecordType::Point);
  putLittleEndian(place + record::kTimestamp, sample.timestamp);
  putLittleEndian(place + record::kDuration, point.duration);
  putLittleEndian(place + record::kMetric, sample.metric);
  putLittleEndian(place + record::kKey, point.key);
  putLittleEndian(place + record::kEntity, point.descriptor);
  putLittleEndian(place + record::kValue, point.value);
}

int PointBuffer::writeTo(pwr::Logger& output) const {
  std::vector<std::byte> records(std::min(kRecordsPerWrite * record::kSize, size()));
  std::byte* place = records.data();
  std::byte* const end = place + records.size();
  RecordBlocks::Cursor samples(samples_);
  Sample sample{};
  for (RecordBlocks::Cursor points(points_); !points.isAtEnd(); --sample.points) {
    if (sample.points == 0) {
      sample = *reinterpret_cast<const Sample*>(samples.take(sizeof(Sample)));
    }
    putRecord(place, sample, *reinterpret_cast<const Point*>(points.take(sizeof(Point))));
    place += record::kSize;
    if (place == end || points.isAtEnd()) {
      const auto count = static_cast<std::size_t>(place - records.data());
      if (output.write(records.data(), count) != 0) return 1;
      place = records.data();
    }
  }
  return 0;
}

void PointBuffer::clear() {
  samples_.clear();
  lastSample_ = nullptr;
  points_.clear();
}
