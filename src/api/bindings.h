// The dispatch objects of the object model: one adapter per object, made
// when the object is handed to a late-bound client, holding the object and
// the table of its class. Two adapters of one object have one identity.
#pragma once

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "api/dispatch.h"
#include "orncalendar/orncalendar.h"

namespace orncal::api {

template <class T>
class Adapter : public TableDispatch {
 public:
  Adapter(std::shared_ptr<T> object, const ClassTable& table)
      : TableDispatch(table), object_(std::move(object)) {}
  const void* Identity() const override { return object_.get(); }
  T& Object() const { return *object_; }
  const std::shared_ptr<T>& Pointer() const { return object_; }

 private:
  std::shared_ptr<T> object_;
};

// The dispatch object of an object of the model; nullptr for nullptr. The
// class follows the object's own type (an AppointmentReal answers as
// AppointmentReal, also when handed out as an Appointment).
DispatchPtr Wrap(const std::shared_ptr<CalendarMain>& object);
DispatchPtr Wrap(const CalendarPtr& object);
DispatchPtr Wrap(const FilePtr& object);
DispatchPtr Wrap(const AppointmentPtr& object);
DispatchPtr Wrap(const AppointmentsPtr& object);
DispatchPtr Wrap(const DateTimePtr& object);
DispatchPtr Wrap(const TaskPtr& object);
DispatchPtr Wrap(const CategoriesPtr& object);
DispatchPtr Wrap(const SpecialRemindTimePtr& object);
DispatchPtr Wrap(const NotificatorPtr& object);
template <class E>
DispatchPtr Wrap(const CollectionPtr<E>& object);

// The class of each object type: the root of a family of classes.
template <class T>
struct RootOf {
  using type = T;
};
template <>
struct RootOf<AppointmentReal> {
  using type = Appointment;
};
template <>
struct RootOf<AppointmentLink> {
  using type = Appointment;
};
template <>
struct RootOf<DateTimeNormal> {
  using type = DateTime;
};
template <>
struct RootOf<DateTimeSerial> {
  using type = DateTime;
};

// The object of a dispatch object: nullptr for none, error 13 for an object
// of another class.
template <class T>
std::shared_ptr<T> Unwrap(const DispatchPtr& object) {
  if (!object) return nullptr;
  using Root = typename RootOf<T>::type;
  auto* adapter = dynamic_cast<Adapter<Root>*>(object.get());
  if (!adapter) throw Error(ErrorNumber::kTypeMismatch);
  if constexpr (std::is_same_v<Root, T>) {
    return adapter->Pointer();
  } else {
    auto derived = std::dynamic_pointer_cast<T>(adapter->Pointer());
    if (!derived) throw Error(ErrorNumber::kTypeMismatch);
    return derived;
  }
}

// An object argument the member cannot do without: error 91 for none.
template <class T>
T& Required(const Variant& v) {
  std::shared_ptr<T> object = Unwrap<T>(v.ToObject());
  if (!object) throw Error(ErrorNumber::kObjectNotSet);
  return *object;
}

// ------------------------------------------------ C++ values and variants

inline Variant ToVariant(bool v) { return Variant(v); }
inline Variant ToVariant(int16_t v) { return Variant(v); }
inline Variant ToVariant(int32_t v) { return Variant(v); }
// Every double of the model is a date; the declared type says so.
inline Variant ToVariant(double v) { return Variant(v); }
inline Variant ToVariant(const std::string& v) { return Variant(v); }
inline Variant ToVariant(calRepetitionModes v) { return Variant(static_cast<int32_t>(v)); }
inline Variant ToVariant(std::vector<std::string> v) { return Variant(std::move(v)); }
template <class T>
Variant ToVariant(const std::shared_ptr<T>& object) {
  return Variant(Wrap(object));
}

template <class V>
struct FromVariantOf;
template <>
struct FromVariantOf<bool> {
  static bool Get(Variant& v) { return v.ToBool(); }
};
template <>
struct FromVariantOf<int16_t> {
  static int16_t Get(Variant& v) { return v.ToInt16(); }
};
template <>
struct FromVariantOf<int32_t> {
  static int32_t Get(Variant& v) { return v.ToInt32(); }
};
template <>
struct FromVariantOf<double> {
  static double Get(Variant& v) { return v.ToDate(); }
};
template <>
struct FromVariantOf<calRepetitionModes> {
  static calRepetitionModes Get(Variant& v) { return static_cast<calRepetitionModes>(v.ToInt32()); }
};
template <>
struct FromVariantOf<std::string> {
  static std::string Get(Variant& v) {
    return v.Type() == VarType::kString ? std::move(v.String()) : v.ToString();
  }
};
template <class T>
struct FromVariantOf<std::shared_ptr<T>> {
  static std::shared_ptr<T> Get(Variant& v) { return Unwrap<T>(v.ToObject()); }
};
template <class V>
V FromVariant(Variant& v) {
  return FromVariantOf<std::remove_cvref_t<V>>::Get(v);
}

// ---------------------------------------------------- binding templates

template <class T>
T& Self(Dispatch& self) {
  return static_cast<Adapter<T>&>(self).Object();
}

// The object of a class whose own type is more than the adapter's (the
// members AppointmentReal and DateTimeSerial add).
template <class Derived, class T>
Derived& SelfAs(Dispatch& self) {
  auto* derived = dynamic_cast<Derived*>(&Self<T>(self));
  if (!derived) throw Error(ErrorNumber::kTypeMismatch);
  return *derived;
}

template <class C, class P>
P ParameterOf(void (C::*)(P));

// A property read or a method without arguments.
template <class T, auto Member>
Variant Getter(Dispatch& self, Arguments&) {
  return ToVariant((Self<T>(self).*Member)());
}

// A property write.
template <class T, auto Member>
Variant Setter(Dispatch& self, Arguments& args) {
  using P = decltype(ParameterOf(Member));
  (Self<T>(self).*Member)(FromVariant<P>(args.Value()));
  return {};
}

// A method without arguments or result.
template <class T, auto Member>
Variant Action(Dispatch& self, Arguments&) {
  (Self<T>(self).*Member)();
  return {};
}

// ------------------------------------------------------------ collections

// An entry of a collection as a variant, and back.
template <class E>
struct ElementOf;
template <>
struct ElementOf<int32_t> {
  static Variant Out(int32_t v) { return Variant(v); }
  static int32_t In(Variant& v) { return v.ToInt32(); }
};
template <class T>
struct ElementOf<std::shared_ptr<T>> {
  static Variant Out(const std::shared_ptr<T>& v) { return Variant(Wrap(v)); }
  // The library's lists hold objects, never nothing.
  static std::shared_ptr<T> In(Variant& v) {
    std::shared_ptr<T> object = Unwrap<T>(v.ToObject());
    if (!object) throw Error(ErrorNumber::kObjectNotSet);
    return object;
  }
};

// Walks anything with Count() and a 1-based Item(int32_t), by position.
template <class Source, class Convert>
class PositionEnumerator final : public Enumerator {
 public:
  explicit PositionEnumerator(std::shared_ptr<Source> source) : source_(std::move(source)) {}
  bool Next(Variant& entry) override {
    if (next_ > source_->Count()) return false;
    entry = Convert::Out(source_->Item(next_++));
    return true;
  }
  void Reset() override { next_ = 1; }

 private:
  std::shared_ptr<Source> source_;
  int32_t next_ = 1;
};

template <class E>
class CollectionAdapter final : public Adapter<Collection<E>>, public KeyedItems {
 public:
  using Adapter<Collection<E>>::Adapter;
  bool HasKey(std::string_view key) const override { return this->Object().Exists(key); }
};

template <class E>
const ClassTable& CollectionTable() {
  using C = Collection<E>;
  static constexpr Binding kBindings[] = {
      {"Add", kInvokeMethod,
       [](Dispatch& self, Arguments& args) -> Variant {
         E item = ElementOf<E>::In(args[0]);
         if (args.Given(1)) {
           Self<C>(self).Add(std::move(item), args[1].ToString());
         } else {
           Self<C>(self).Add(std::move(item));
         }
         return {};
       }},
      {"Count", kInvokeMethod,
       [](Dispatch& self, Arguments&) -> Variant { return Self<C>(self).Count(); }},
      {"Item", kInvokeMethod,
       [](Dispatch& self, Arguments& args) -> Variant {
         if (args[0].Type() == VarType::kString) {
           return ElementOf<E>::Out(Self<C>(self).Item(std::string_view(args[0].String())));
         }
         return ElementOf<E>::Out(Self<C>(self).Item(args[0].ToInt32()));
       }},
      {"Remove", kInvokeMethod,
       [](Dispatch& self, Arguments& args) -> Variant {
         if (args[0].Type() == VarType::kString) {
           Self<C>(self).Remove(std::string_view(args[0].String()));
         } else {
           Self<C>(self).Remove(args[0].ToInt32());
         }
         return {};
       }},
      {"NewEnum", kInvokeMethod,
       [](Dispatch& self, Arguments&) -> Variant {
         auto& adapter = static_cast<Adapter<C>&>(self);
         return DispatchPtr(
             std::make_shared<PositionEnumerator<C, ElementOf<E>>>(adapter.Pointer()));
       }},
  };
  static const ClassTable table(CollectionClass(), kBindings);
  return table;
}

template <class E>
DispatchPtr Wrap(const CollectionPtr<E>& object) {
  if (!object) return nullptr;
  return std::make_shared<CollectionAdapter<E>>(object, CollectionTable<E>());
}

// A collection argument: nullptr for none, error 13 for a collection of
// other entries (or no collection).
template <class E>
CollectionPtr<E> UnwrapCollection(const Variant& v) {
  return Unwrap<Collection<E>>(v.ToObject());
}

}  // namespace orncal::api
