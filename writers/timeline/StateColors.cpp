#include "writers/timeline/StateColors.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "writers/common/StateDepth.h"

namespace {

struct Rgb {
  double red;
  double green;
  double blue;
};

// Evenly spaced, each darker than the one before.
constexpr std::array<Rgb, 5> kRamp{
    {{253, 231, 37}, {94, 201, 98}, {33, 145, 140}, {59, 82, 139}, {68, 1, 84}}};

std::uint32_t rampColor(double depth) {
  const double place = depth * static_cast<double>(kRamp.size() - 1);
  const std::size_t before = std::min(static_cast<std::size_t>(place), kRamp.size() - 2);
  const double share = place - static_cast<double>(before);
  const auto mixed = [&](double Rgb::*part) {
    const double value = std::lerp(kRamp[before].*part, kRamp[before + 1].*part, share);
    return static_cast<std::uint32_t>(std::lround(value));
  };
  return mixed(&Rgb::red) << 16U | mixed(&Rgb::green) << 8U | mixed(&Rgb::blue);
}

// Colours that differ in hue and in lightness for every kind of colour vision.
constexpr std::array<std::uint32_t, 8> kPalette{0xE69F00, 0x56B4E9, 0x009E73, 0xF0E442,
                                                0x0072B2, 0xD55E00, 0xCC79A7, 0x999999};

std::uint32_t paletteColor(std::string_view name) {
  std::uint32_t hash = 2166136261U;  // FNV-1a
  for (const char character : name) {
    hash = (hash ^ static_cast<unsigned char>(character)) * 16777619U;
  }
  return kPalette[hash % kPalette.size()];
}

}  // namespace

std::uint32_t stateColor(std::string_view name) {
  const auto depth = stateDepth(name);
  return depth ? rampColor(*depth) : paletteColor(name);
}

std::uint32_t stateColor(double number, std::string_view units) {
  if (const auto depth = stateDepth(number, units)) return rampColor(*depth);
  if (!std::isfinite(number)) return kPalette.front();
  const double turn = std::fmod(std::floor(std::abs(number)), static_cast<double>(kPalette.size()));
  return kPalette[static_cast<std::size_t>(turn)];
}
