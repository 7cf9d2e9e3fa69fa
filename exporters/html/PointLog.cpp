#include "exporters/html/PointLog.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>

namespace {

/// In front of a number that is not whole, or too large: its eight bytes follow. Whole numbers are
/// even there.
constexpr char kRealMark = 1;

constexpr std::size_t kMostVarint = 10;

std::uint64_t zigzag(long long value) {
  return (static_cast<std::uint64_t>(value) << 1U) ^ static_cast<std::uint64_t>(value >> 63);
}

long long unzigzag(std::uint64_t bits) {
  return static_cast<long long>(bits >> 1U) ^ -static_cast<long long>(bits & 1U);
}

char* putVarint(char* place, std::uint64_t bits) {
  for (; bits >= 0x80; bits >>= 7U) *place++ = static_cast<char>(bits | 0x80U);
  *place++ = static_cast<char>(bits);
  return place;
}

std::uint64_t takeVarint(const char*& place) {
  std::uint64_t bits = 0;
  for (unsigned int shift = 0;; shift += 7) {
    const auto byte = static_cast<unsigned char>(*place++);
    bits |= static_cast<std::uint64_t>(byte & 0x7FU) << shift;
    if (byte < 0x80) return bits;
  }
}

char* putNumber(char* place, double value) {
  const bool isWhole = std::abs(value) < static_cast<double>(kMostTicks) &&
                       value == std::trunc(value) && !(value == 0.0 && std::signbit(value));
  if (isWhole) return putVarint(place, zigzag(static_cast<long long>(value)) << 1U);
  *place++ = kRealMark;
  std::memcpy(place, &value, sizeof value);
  return place + sizeof value;
}

double takeNumber(const char*& place) {
  if (*place == kRealMark) {
    double value = 0.0;
    std::memcpy(&value, place + 1, sizeof value);
    place += 1 + sizeof value;
    return value;
  }
  return static_cast<double>(unzigzag(takeVarint(place) >> 1U));
}

}  // namespace

void appendVarint(std::string& bytes, long long value) {
  std::array<char, kMostVarint> room;
  const char* const end = putVarint(room.data(), zigzag(value));
  bytes.append(room.data(), static_cast<std::size_t>(end - room.data()));
}

std::size_t PointLog::append(const PagePoint& point) {
  const std::size_t before = bytes_.capacity();
  std::array<char, 4 * kMostVarint> room;
  char* place = putVarint(room.data(), zigzag(point.start - lastStart_));
  place = putVarint(place, zigzag(point.length - lastLength_));
  // One more than their number: 0 stands for a value.
  place = putVarint(place, point.ticks.empty() ? 0 : point.ticks.size());
  if (point.ticks.empty()) place = putNumber(place, point.value);
  bytes_.append(room.data(), static_cast<std::size_t>(place - room.data()));
  for (const double ticks : point.ticks) {
    const char* const end = putNumber(room.data(), ticks);
    bytes_.append(room.data(), static_cast<std::size_t>(end - room.data()));
  }
  isAscending_ = isAscending_ && (count_ == 0 || point.start >= lastStart_);
  lastStart_ = point.start;
  lastLength_ = point.length;
  ++count_;
  return bytes_.capacity() - before;
}

void PointLog::forEach(const std::function<void(const PagePoint&)>& visit) const {
  std::vector<double> ticks;
  PagePoint point;
  const char* place = bytes_.data();
  for (std::size_t n = 0; n < count_; ++n) {
    point.start += unzigzag(takeVarint(place));
    point.length += unzigzag(takeVarint(place));
    ticks.resize(takeVarint(place));
    for (double& one : ticks) one = takeNumber(place);
    if (ticks.empty()) point.value = takeNumber(place);
    point.ticks = ticks;
    visit(point);
  }
}

void PointLog::sort() {
  if (isAscending_) return;
  struct Place {
    PagePoint point;
    std::size_t firstTick;
  };
  std::vector<Place> places;
  std::vector<double> ticks;
  places.reserve(count_);
  forEach([&](const PagePoint& point) {
    places.push_back({point, ticks.size()});
    ticks.insert(ticks.end(), point.ticks.begin(), point.ticks.end());
  });
  std::ranges::stable_sort(places, {}, [](const Place& place) { return place.point.start; });
  clear();
  for (Place& place : places) {
    const std::span<const double> all = ticks;
    place.point.ticks = all.subspan(place.firstTick, place.point.ticks.size());
    append(place.point);
  }
}

void PointLog::clear() {
  *this = PointLog();
}
