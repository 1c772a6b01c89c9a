// The value of a late-bound call: an argument, a result or a property. It
// holds one of a few types and converts between them the way automation
// clients expect: numbers and text both ways (in the C locale: a decimal
// point, no grouping), dates as text in ISO 8601, Booleans as numbers with
// True = -1. A conversion that cannot be made raises error 13 (type
// mismatch), a number out of range error 6 (overflow).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "api/type_library.h"
#include "orncalendar/fwd.h"

namespace orncal::api {

class Dispatch;
using DispatchPtr = std::shared_ptr<Dispatch>;

// The order is that of the alternatives below.
enum class VarType : uint8_t {
  kEmpty,    // nothing assigned; reads as 0, "" or False, and as no object
  kMissing,  // an optional argument left out
  kBool,     // True = -1
  kInt16,    // Integer
  kInt32,    // Long
  kDouble,   // Double
  kDate,     // an OLE date
  kString,   // UTF-8
  kObject,   // a dispatch object, or none (Nothing)
  kStringArray,
  kVariantArray,
};

class Variant {
 public:
  using StringArray = std::vector<std::string>;
  using VariantArray = std::vector<Variant>;

  Variant() = default;
  Variant(bool value) : value_(value) {}
  Variant(int16_t value) : value_(value) {}
  Variant(int32_t value) : value_(value) {}
  Variant(double value) : value_(value) {}
  Variant(std::string value) : value_(std::move(value)) {}
  Variant(std::string_view value) : value_(std::string(value)) {}
  Variant(const char* value) : value_(std::string(value)) {}
  Variant(DispatchPtr value) : value_(std::move(value)) {}
  Variant(StringArray value) : value_(std::move(value)) {}
  Variant(VariantArray value) : value_(std::move(value)) {}
  Variant(std::nullptr_t) : value_(DispatchPtr()) {}

  static Variant Missing() {
    Variant v;
    v.value_ = MissingTag{};
    return v;
  }
  static Variant FromDate(Date date) {
    Variant v;
    v.value_ = DateTag{date};
    return v;
  }

  VarType Type() const { return static_cast<VarType>(value_.index()); }
  bool IsEmpty() const { return Type() == VarType::kEmpty; }
  bool IsMissing() const { return Type() == VarType::kMissing; }

  // The value as it is held; the type must be the one asked for.
  bool Bool() const { return std::get<bool>(value_); }
  int16_t Int16() const { return std::get<int16_t>(value_); }
  int32_t Int32() const { return std::get<int32_t>(value_); }
  double Double() const { return std::get<double>(value_); }
  Date DateValue() const { return std::get<DateTag>(value_).value; }
  const std::string& String() const { return std::get<std::string>(value_); }
  std::string& String() { return std::get<std::string>(value_); }
  const DispatchPtr& Object() const { return std::get<DispatchPtr>(value_); }
  const StringArray& Strings() const { return std::get<StringArray>(value_); }
  const VariantArray& Variants() const { return std::get<VariantArray>(value_); }

  // Conversions (errors 13 and 6). Missing converts to nothing.
  bool ToBool() const;
  int16_t ToInt16() const;
  int32_t ToInt32() const;
  double ToDouble() const;
  Date ToDate() const;
  std::string ToString() const;
  // Empty is no object.
  DispatchPtr ToObject() const;
  StringArray ToStringArray() const;

  // Converts the value to a declared type in place: kVariant and kVoid keep
  // it as it is, an object stays an object (its class is checked by whoever
  // takes it), an enumeration is a Long.
  void ConvertTo(TypeKind kind);

  // Same type and value; objects are the same when they stand for the same
  // object.
  friend bool operator==(const Variant& a, const Variant& b);

 private:
  struct MissingTag {
    friend bool operator==(MissingTag, MissingTag) { return true; }
  };
  struct DateTag {
    Date value;
    friend bool operator==(DateTag, DateTag) = default;
  };
  std::variant<std::monostate, MissingTag, bool, int16_t, int32_t, double, DateTag, std::string,
               DispatchPtr, StringArray, VariantArray>
      value_;
};

// A number written in the C locale ("1.5", "-3", " 2e3 "), surrounded by
// spaces or not; nullopt for anything else.
std::optional<double> ParseCNumber(std::string_view text);

// "2008-05-14 10:30:00": the date and the time rounded to the second, the
// time left out at midnight and the date on 30 December 1899 (day 0).
// Error 6 outside the dates OLE can hold.
std::string FormatIsoDate(Date date);

}  // namespace orncal::api
