#include "DeviceScale.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace tessel::platform::scale {
namespace {

constexpr double kBaseDpi = 96.0;

std::string_view trimmed(const char* text) {
  std::string_view s(text);
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\n'))
    s.remove_suffix(1);
  return s;
}

// Whole text or nothing: "2x" or "" must not count as 2 or 0.
template <class Number>
std::optional<Number> parse(const char* text) {
  if (text == nullptr) return std::nullopt;
  std::string_view s = trimmed(text);
  Number value{};
  auto [end, error] = std::from_chars(s.data(), s.data() + s.size(), value);
  if (s.empty() || error != std::errc() || end != s.data() + s.size()) return std::nullopt;
  return value;
}

int clamped(long value) { return int(std::clamp<long>(value, kMinScale, kMaxScale)); }

std::optional<int> integer_scale(const char* text) {
  auto value = parse<long>(text);
  if (!value) return std::nullopt;
  return clamped(*value);
}

std::optional<int> dpi_scale(const char* text) {
  auto dpi = parse<double>(text);
  if (!dpi || !std::isfinite(*dpi) || *dpi <= 0) return std::nullopt;
  return clamped(std::lround(std::min(*dpi / kBaseDpi, double(kMaxScale))));
}

}  // namespace

int choose(const Sources& sources) {
  if (auto s = integer_scale(sources.tesselScale)) return *s;
  if (auto s = integer_scale(sources.gdkScale)) return *s;
  if (auto s = dpi_scale(sources.xftDpi)) return *s;
  return kMinScale;
}

int from_environment(const char* xftDpi) {
  return choose(Sources{std::getenv(kScaleVariable), std::getenv(kGdkScaleVariable), xftDpi});
}

}  // namespace tessel::platform::scale
