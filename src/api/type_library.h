// The description of the library's automation surface: every class with
// its class identifier and interfaces, every interface with its members in
// slot order, every member with its dispatch identifier, kind and
// arguments, and the enumerations. It is the one source the late-bound
// layer (dispatch.h) binds to and the type library of the Windows server is
// generated from, so it holds what an interface definition needs and
// nothing of the C++ object model.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace orncal::api {

// A 128-bit identifier, written {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}.
struct Guid {
  uint32_t data1 = 0;
  uint16_t data2 = 0;
  uint16_t data3 = 0;
  uint8_t data4[8] = {};

  // The identifier of a literal in the written form (with or without
  // braces); anything else does not compile.
  static consteval Guid Of(std::string_view text) {
    auto parsed = Parse(text);
    if (!parsed) throw "not an identifier";  // a compile-time error
    return *parsed;
  }
  // Blind to the case of the hex digits; nullopt for anything else.
  static constexpr std::optional<Guid> Parse(std::string_view text);
  // Upper-case hex digits, with braces.
  std::string ToString() const;

  friend constexpr bool operator==(const Guid&, const Guid&) = default;
};

// The types of arguments, results and properties.
enum class TypeKind : uint8_t {
  kVoid,         // no result
  kBool,         // Boolean: 16 bits, True = -1
  kInt16,        // Integer
  kInt32,        // Long
  kDate,         // Date: an OLE date
  kString,       // String
  kVariant,      // Variant
  kObject,       // a reference to the interface named by TypeRef::name
  kStringArray,  // one-dimensional array of String
  kEnum,         // the 32-bit enumeration named by TypeRef::name
};

struct TypeRef {
  TypeKind kind = TypeKind::kVoid;
  std::string_view name{};
};

// How a member is called. The values are the flags of an invocation, so a
// caller may ask for several at once (method or property read).
enum InvokeKind : uint16_t {
  kInvokeMethod = 1,
  kInvokePropertyGet = 2,
  kInvokePropertyLet = 4,  // a value
  kInvokePropertySet = 8,  // an object reference
};

// The accessors of one member, in slot order.
enum class Access : uint8_t {
  kMethod,
  kGet,
  kGetLet,
  kGetSet,
  kSetGet,
};

// The accessors of a member as InvokeKind flags.
constexpr uint16_t AccessFlags(Access access) {
  switch (access) {
    case Access::kMethod:
      return kInvokeMethod;
    case Access::kGet:
      return kInvokePropertyGet;
    case Access::kGetLet:
      return kInvokePropertyGet | kInvokePropertyLet;
    case Access::kGetSet:
    case Access::kSetGet:
      return kInvokePropertyGet | kInvokePropertySet;
  }
  return 0;
}

using DispId = int32_t;
inline constexpr DispId kDispIdValue = 0;     // the default member
inline constexpr DispId kDispIdNewEnum = -4;  // the enumerator of a collection
inline constexpr DispId kDispIdUnknown = -1;  // a name that names nothing

// The default of an optional argument; an optional argument without one
// arrives as "missing".
struct DefaultValue {
  enum class Kind : uint8_t { kNone, kBool, kInt };
  Kind kind = Kind::kNone;
  int32_t value = 0;
};

enum ArgFlags : uint8_t {
  kByValue = 0,
  kByRef = 1,
  kOptional = 2,
  // The callee may hand back a new value (an out argument of a by-reference
  // pair): late-bound clients return it after the result.
  kOut = 4,
};

struct ArgInfo {
  std::string_view name;
  TypeRef type;
  uint8_t flags = kByValue;
  DefaultValue default_value{};

  constexpr bool ByRef() const { return flags & kByRef; }
  constexpr bool Optional() const { return flags & kOptional; }
  constexpr bool Out() const { return flags & kOut; }
};

struct MemberInfo {
  std::string_view name;
  Access access = Access::kMethod;
  DispId dispid = 0;
  // A method's result or a property's type.
  TypeRef type{};
  // The arguments, before the value of a property's let or set.
  std::span<const ArgInfo> args{};

  constexpr bool IsMethod() const { return access == Access::kMethod; }
  constexpr uint16_t Flags() const { return AccessFlags(access); }
};

enum class InterfaceKind : uint8_t {
  kDual,     // callable through its table and by name
  kEvents,   // an outgoing interface a class raises its events through
  kRuntime,  // provided by the automation runtime, not by this library
};

struct InterfaceInfo {
  std::string_view name;
  Guid iid{};
  InterfaceKind kind = InterfaceKind::kDual;
  std::span<const MemberInfo> members{};
};

struct ClassInfo {
  std::string_view name;
  Guid clsid{};
  std::string_view default_interface;
  // The interface the class is handled through ("" for none): its members
  // come first when a name is looked up.
  std::string_view also_implements{};
  // The interface of its events ("" for none).
  std::string_view source_interface{};
  bool creatable = false;
  // Its members can be called without naming an instance.
  bool application_object = false;
};

struct EnumValue {
  std::string_view name;
  int32_t value;
};

struct EnumInfo {
  std::string_view name;
  std::span<const EnumValue> values;
};

struct LibraryInfo {
  std::string_view name;
  Guid libid{};
  uint32_t lcid = 0;
  uint16_t major_version = 1;
  uint16_t minor_version = 0;
  std::span<const ClassInfo> classes;
  std::span<const InterfaceInfo> interfaces;
  std::span<const EnumInfo> enums;
};

const LibraryInfo& TypeLibrary();

// Look-ups by exact name; nullptr when there is none.
const ClassInfo* FindClass(std::string_view name);
const InterfaceInfo* FindInterface(std::string_view name);
const EnumInfo* FindEnum(std::string_view name);

// The classes of the automation runtime that the library's collections and
// their enumerators answer as (interfaces "Collection" and "Enumerator");
// they are not the library's own, so they are not in TypeLibrary().classes.
const ClassInfo& CollectionClass();
const ClassInfo& EnumeratorClass();

// "OrnCalendar.CalendarMain": the library's name, a point and the class's.
std::string ProgID(const ClassInfo& c);

// ---------------------------------------------------------------------------

namespace detail {
constexpr int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}
}  // namespace detail

constexpr std::optional<Guid> Guid::Parse(std::string_view text) {
  if (text.size() == 38 && text.front() == '{' && text.back() == '}') {
    text = text.substr(1, 36);
  }
  if (text.size() != 36) return std::nullopt;
  // The positions of the hex digit pairs of the 16 bytes.
  constexpr int kPairs[16] = {0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26, 28, 30, 32, 34};
  for (int dash : {8, 13, 18, 23}) {
    if (text[dash] != '-') return std::nullopt;
  }
  uint8_t bytes[16] = {};
  for (int i = 0; i < 16; ++i) {
    int high = detail::HexDigit(text[kPairs[i]]), low = detail::HexDigit(text[kPairs[i] + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes[i] = static_cast<uint8_t>(high * 16 + low);
  }
  Guid g;
  g.data1 = (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) |
            bytes[3];
  g.data2 = static_cast<uint16_t>((bytes[4] << 8) | bytes[5]);
  g.data3 = static_cast<uint16_t>((bytes[6] << 8) | bytes[7]);
  for (int i = 0; i < 8; ++i)
    g.data4[i] = bytes[8 + i];
  return g;
}

}  // namespace orncal::api
