// Late binding: every public object can be called by the names of the
// type library (type_library.h). A client looks a member up by name (blind
// to letter case) once, then invokes it by its dispatch identifier with
// positional and named arguments; optional arguments it leaves out take
// their defaults, and by-reference arguments the member changes are written
// back into the caller's variants.
//
// Errors are orncal::Error with the numbers clients know: 438 for a member
// the object does not have (or an accessor it lacks), 449 for a required
// argument left out, 450 for too many arguments, 448 for a named argument
// that is not there, 13 for a value of the wrong type, 424 for a value
// where an object reference is set, 429 for a class that cannot be
// created, besides the numbers the object model raises itself.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "api/type_library.h"
#include "api/variant.h"

namespace orncal::api {

class ClassTable;
class EventSource;

// A named argument: its position in the member's argument list (as
// GetIDsOfNames hands it out) and its value.
struct NamedArgument {
  int32_t position = 0;
  Variant value;
};

class Dispatch {
 public:
  virtual ~Dispatch() = default;

  // The identifier of a member, blind to case; kDispIdUnknown for none.
  virtual DispId GetIDOfName(std::string_view name) const = 0;
  // The position of a member's argument by its name, blind to case; -1 for
  // none.
  virtual int32_t GetArgPosition(DispId member, std::string_view name) const = 0;
  // names[0] is a member, the others its arguments; ids receives the
  // member's identifier and the arguments' positions. An unknown member
  // raises 438, an unknown argument 448 (ids then hold kDispIdUnknown where
  // a name was not found).
  void GetIDsOfNames(std::span<const std::string_view> names, std::span<DispId> ids) const;

  // Calls a member. `kind` holds the InvokeKind flags the caller accepts
  // (a read of x.Name may accept a method or a property get). `args` are
  // the positional arguments in order; the value of a property let or set
  // is the last of them. By-reference arguments handed back are written
  // into `args` and `named`.
  virtual Variant Invoke(DispId member, uint16_t kind, std::span<Variant> args = {},
                         std::span<NamedArgument> named = {}) = 0;

  // The class and its members, for the objects of the library; nullptr for
  // objects a client implements (event sinks).
  virtual const ClassTable* Table() const { return nullptr; }
  // The object this stands for: two dispatch objects of one identity are
  // the same object.
  virtual const void* Identity() const { return this; }
  // The source of the object's events, or nullptr.
  virtual EventSource* Events() { return nullptr; }

  // Invoke by name: GetIDOfName (438 when unknown), then Invoke.
  Variant InvokeByName(std::string_view name, uint16_t kind, std::span<Variant> args = {},
                       std::span<NamedArgument> named = {});
};

// The arguments of one call, in declaration order, converted to their
// declared types: an optional one left out holds its default, or Missing
// when it has none. A binding hands back a by-reference argument by
// assigning to it.
class Arguments {
 public:
  Arguments(std::span<Variant> slots, Variant* value) : slots_(slots), value_(value) {}
  Variant& operator[](size_t i) { return slots_[i]; }
  bool Given(size_t i) const { return !slots_[i].IsMissing(); }
  size_t size() const { return slots_.size(); }
  // The value of a property let or set.
  Variant& Value() { return *value_; }

 private:
  std::span<Variant> slots_;
  Variant* value_;
};

// The C++ side of one accessor of a member.
using BindingFunction = Variant (*)(Dispatch& self, Arguments& args);

struct Binding {
  std::string_view name;
  InvokeKind kind;
  BindingFunction function;
};

// A member as a class answers it: its signature (from the first interface
// of the class that names it) and its bound accessors.
struct BoundMember {
  const MemberInfo* info = nullptr;
  DispId dispid = 0;
  BindingFunction method = nullptr;
  BindingFunction get = nullptr;
  BindingFunction let = nullptr;
  BindingFunction set = nullptr;

  // The accessors a caller may use, as InvokeKind flags.
  uint16_t Flags() const {
    return (method ? kInvokeMethod : 0) | (get ? kInvokePropertyGet : 0) |
           (let ? kInvokePropertyLet : 0) | (set ? kInvokePropertySet : 0);
  }
  // The number of arguments a call must give.
  size_t RequiredArgs() const;
};

// The members of one class: those of the interface it is handled through,
// then those of its default interface, each bound to its C++ accessors.
class ClassTable {
 public:
  ClassTable(const ClassInfo& info, std::span<const Binding> bindings);

  const ClassInfo& Class() const { return *info_; }
  const BoundMember* Find(DispId id) const;
  const BoundMember* FindName(std::string_view name) const;
  const std::vector<BoundMember>& Members() const { return members_; }
  // Whether the class implements an interface (by name).
  bool Implements(std::string_view interface_name) const;
  // "Name (get)" for every accessor the interfaces declare but no binding
  // provides, and "Name (binding)" for every binding no interface declares:
  // empty for a complete class.
  std::vector<std::string> Mismatches() const;

  // Runs a member on `self` (see Dispatch::Invoke).
  Variant Invoke(Dispatch& self, DispId id, uint16_t kind, std::span<Variant> args,
                 std::span<NamedArgument> named) const;

 private:
  const ClassInfo* info_;
  std::vector<const InterfaceInfo*> interfaces_;
  std::vector<BoundMember> members_;
  // Members by lower-case name.
  std::vector<std::pair<std::string, size_t>> names_;
  // Member index + 1 by dispatch identifier - kLowestId (0 for none).
  static constexpr DispId kLowestId = kDispIdNewEnum;
  std::vector<uint8_t> by_id_;
  std::vector<std::string> unused_bindings_;
};

// A dispatch object of the library: its members are those of its table.
class TableDispatch : public Dispatch {
 public:
  explicit TableDispatch(const ClassTable& table) : table_(&table) {}
  DispId GetIDOfName(std::string_view name) const override;
  int32_t GetArgPosition(DispId member, std::string_view name) const override;
  Variant Invoke(DispId member, uint16_t kind, std::span<Variant> args,
                 std::span<NamedArgument> named) override {
    return table_->Invoke(*this, member, kind, args, named);
  }
  const ClassTable* Table() const override { return table_; }

 private:
  const ClassTable* table_;
};

// What NewEnum hands out: the entries of a collection one by one, in
// order. It walks by position, so a collection changed during the walk
// gives what is at the next position then.
class Enumerator : public TableDispatch {
 public:
  Enumerator();
  // The next entry; false at the end.
  virtual bool Next(Variant& entry) = 0;
  virtual void Reset() = 0;
};

// The connection point of a class with events: the sink is called by the
// dispatch identifiers of the event interface (method calls without
// arguments), synchronously, on the thread that raised the event. What a
// sink raises is dropped: an event never fails its source.
class EventSource {
 public:
  virtual ~EventSource() = default;
  virtual const InterfaceInfo& EventInterface() const = 0;
  // The sink stays connected (and held) until Unadvise.
  virtual uint64_t Advise(DispatchPtr sink) = 0;
  // Error 5 for a cookie that is not connected.
  virtual void Unadvise(uint64_t cookie) = 0;
};

// A collection's keys, whatever it holds (for CollectionItemExists).
class KeyedItems {
 public:
  virtual ~KeyedItems() = default;
  virtual bool HasKey(std::string_view key) const = 0;
};

// A new object of a creatable class, named by its identifier
// ("OrnCalendar.CalendarMain", blind to case) or its class identifier
// ("{2A2FD60C-...}"). Error 429 for anything else.
DispatchPtr CreateObject(std::string_view id);

// The application object: the CalendarMain of the process, made at first
// use, whose members can be called without naming an instance.
DispatchPtr ApplicationObject();

// The other processes' changes, for clients that call by name: the
// calendar of the application object handles what has arrived (see
// Calendar::ProcessNotifications), raising its Notificator's events to the
// connected sinks on this thread, and returns how many messages it handled.
// NotificationDescriptor is what an event loop waits on before calling it;
// -1 when the calendar works alone. Both start the calendar when it has not
// started yet. They stand beside the type library, not in it: its
// interfaces are the fixed contract of the classes.
int ProcessNotifications();
std::intptr_t NotificationDescriptor();

// Forgets the application object (tests that start a calendar afresh).
void ResetApplicationObjectForTesting();

}  // namespace orncal::api
