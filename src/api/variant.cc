#include "api/variant.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "api/dispatch.h"
#include "datetime/locale_forms.h"
#include "orncalendar/error.h"
#include "orncalendar/ole_date.h"

namespace orncal::api {
namespace {

[[noreturn]] void Mismatch() { throw Error(ErrorNumber::kTypeMismatch); }
[[noreturn]] void Overflow() { throw Error(ErrorNumber::kOverflow); }

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
    text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
    text.remove_suffix(1);
  return text;
}

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char x = a[i], y = b[i];
    if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
    if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
    if (x != y) return false;
  }
  return true;
}

// Rounds half to even, as the conversions to whole numbers do, and checks
// the range.
template <class Int>
Int RoundedTo(double value) {
  if (!std::isfinite(value)) Overflow();
  const double rounded = std::nearbyint(value);
  if (rounded < static_cast<double>(std::numeric_limits<Int>::min()) ||
      rounded > static_cast<double>(std::numeric_limits<Int>::max())) {
    Overflow();
  }
  return static_cast<Int>(rounded);
}

double NumberOf(const std::string& text) {
  if (auto number = ParseCNumber(text)) return *number;
  Mismatch();
}

// The last moment OLE dates hold is the end of 31 December 9999.
Date CheckedDate(double value) {
  if (!std::isfinite(value) || value < kMinDate - 1 || value >= kMaxDate + 1) Overflow();
  return value;
}

}  // namespace

std::optional<double> ParseCNumber(std::string_view text) {
  text = Trimmed(text);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  if (text.empty() || text.front() == '+') return std::nullopt;
  double value = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) {
    return std::nullopt;
  }
  return value;
}

std::string FormatIsoDate(Date date) {
  CheckedDate(date);
  const DateParts p = SplitDate(date);
  const bool has_date = DayPart(date) != 0 || p.Year != 1899;
  const bool has_time = p.Hour || p.Minute || p.Second;
  char text[32];
  if (!has_date) {
    std::snprintf(text, sizeof text, "%02d:%02d:%02d", p.Hour, p.Minute, p.Second);
  } else if (!has_time) {
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", p.Year, p.Month, p.Day);
  } else {
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", p.Year, p.Month, p.Day,
                  p.Hour, p.Minute, p.Second);
  }
  return text;
}

bool Variant::ToBool() const {
  switch (Type()) {
    case VarType::kEmpty:
      return false;
    case VarType::kBool:
      return Bool();
    case VarType::kInt16:
      return Int16() != 0;
    case VarType::kInt32:
      return Int32() != 0;
    case VarType::kDouble:
      return Double() != 0;
    case VarType::kDate:
      return DateValue() != 0;
    case VarType::kString: {
      std::string_view text = Trimmed(String());
      if (EqualsIgnoringCase(text, "true")) return true;
      if (EqualsIgnoringCase(text, "false")) return false;
      return NumberOf(String()) != 0;
    }
    default:
      Mismatch();
  }
}

double Variant::ToDouble() const {
  switch (Type()) {
    case VarType::kEmpty:
      return 0;
    case VarType::kBool:
      return Bool() ? -1 : 0;
    case VarType::kInt16:
      return Int16();
    case VarType::kInt32:
      return Int32();
    case VarType::kDouble:
      return Double();
    case VarType::kDate:
      return DateValue();
    case VarType::kString:
      return NumberOf(String());
    default:
      Mismatch();
  }
}

int32_t Variant::ToInt32() const {
  switch (Type()) {
    case VarType::kInt32:
      return Int32();
    case VarType::kInt16:
      return Int16();
    default:
      return RoundedTo<int32_t>(ToDouble());
  }
}

int16_t Variant::ToInt16() const {
  if (Type() == VarType::kInt16) return Int16();
  return RoundedTo<int16_t>(ToDouble());
}

Date Variant::ToDate() const {
  switch (Type()) {
    case VarType::kDate:
      return DateValue();
    case VarType::kString:
      if (auto date = ParseLocaleDate(String())) return *date;
      return CheckedDate(NumberOf(String()));
    default:
      return CheckedDate(ToDouble());
  }
}

std::string Variant::ToString() const {
  switch (Type()) {
    case VarType::kEmpty:
      return {};
    case VarType::kBool:
      return Bool() ? "True" : "False";
    case VarType::kInt16:
      return std::to_string(Int16());
    case VarType::kInt32:
      return std::to_string(Int32());
    case VarType::kDouble: {
      // The shortest text that reads back as the same number; plain digits
      // unless the number is very large or very small.
      const double value = Double();
      if (!std::isfinite(value)) Overflow();
      const double size = std::fabs(value);
      const bool plain = size == 0 || (size >= 1e-5 && size < 1e15);
      char text[400];
      auto [end, ec] =
          plain ? std::to_chars(text, text + sizeof text, value, std::chars_format::fixed)
                : std::to_chars(text, text + sizeof text, value);
      return std::string(text, end);
    }
    case VarType::kDate:
      return FormatIsoDate(DateValue());
    case VarType::kString:
      return String();
    default:
      Mismatch();
  }
}

DispatchPtr Variant::ToObject() const {
  if (Type() == VarType::kObject) return Object();
  if (Type() == VarType::kEmpty) return nullptr;
  Mismatch();
}

Variant::StringArray Variant::ToStringArray() const {
  switch (Type()) {
    case VarType::kEmpty:
      return {};
    case VarType::kStringArray:
      return Strings();
    case VarType::kVariantArray: {
      StringArray out;
      out.reserve(Variants().size());
      for (const Variant& v : Variants())
        out.push_back(v.ToString());
      return out;
    }
    default:
      Mismatch();
  }
}

void Variant::ConvertTo(TypeKind kind) {
  switch (kind) {
    case TypeKind::kBool:
      if (Type() != VarType::kBool) value_ = ToBool();
      return;
    case TypeKind::kInt16:
      if (Type() != VarType::kInt16) value_ = ToInt16();
      return;
    case TypeKind::kInt32:
    case TypeKind::kEnum:
      if (Type() != VarType::kInt32) value_ = ToInt32();
      return;
    case TypeKind::kDate:
      if (Type() != VarType::kDate) value_ = DateTag{ToDate()};
      return;
    case TypeKind::kString:
      if (Type() != VarType::kString) value_ = ToString();
      return;
    case TypeKind::kStringArray:
      if (Type() != VarType::kStringArray) value_ = ToStringArray();
      return;
    case TypeKind::kObject:
      if (Type() != VarType::kObject) value_ = ToObject();
      return;
    case TypeKind::kVoid:
    case TypeKind::kVariant:
      return;
  }
}

bool operator==(const Variant& a, const Variant& b) {
  if (a.Type() == VarType::kObject && b.Type() == VarType::kObject) {
    const DispatchPtr &x = a.Object(), &y = b.Object();
    if (!x || !y) return !x && !y;
    return x->Identity() == y->Identity();
  }
  return a.value_ == b.value_;
}

}  // namespace orncal::api
