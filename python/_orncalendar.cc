// The Python client of the late-bound interface (src/api/dispatch.h): a
// dynamic object type whose attributes are the members of the object it
// stands for, looked up by name. The hot paths (attribute reads, calls,
// iteration) are plain C slots; the package around it (orncalendar/
// __init__.py) adds the error classes and the application object.
//
// Mapping:
//   obj.Name            property get (a method or a property with arguments
//                       comes back as a callable member)
//   obj.Name = v        property let, or set for an object (and for None on
//                       a property that only sets)
//   obj.Name(a, K=b)    method call or property get with arguments; keyword
//                       arguments are named arguments; when out arguments
//                       are given, the result is (result, out1, ...)
//   obj.Name[k] = v     property let or set with arguments
//   obj(k), obj[k]      the default member; obj[k] = v writes it
//   for x in obj        the NewEnum enumerator
//   ==, hash            by identity of the object stood for; while a
//                       Python object of it lives, the same one is handed
//                       out again
#define PY_SSIZE_T_CLEAN
#include <pybind11/pybind11.h>
// clang-format off
#include <datetime.h>
// clang-format on

#include <cmath>
#include <string>
#include <unordered_map>
#include <vector>

#include "api/bindings.h"
#include "api/dispatch.h"
#include "core/shared_calendar.h"
#include "orncalendar/orncalendar.h"

namespace py = pybind11;
using orncal::Date;
using namespace orncal::api;

namespace {

PyObject* g_error = nullptr;         // orncalendar.Error
PyObject* g_unknown_name = nullptr;  // orncalendar.UnknownNameError

// Raises the Python error of an orncal::Error; returns nullptr for the
// caller to return.
PyObject* RaiseError(const orncal::Error& e, std::string_view name = {}) {
  PyObject* type = e.Number() == 438 ? g_unknown_name : g_error;
  if (!type) {
    PyErr_SetString(PyExc_RuntimeError, e.what());
    return nullptr;
  }
  PyObject* error = PyObject_CallFunction(type, "is#s#", e.Number(), e.what(),
                                          static_cast<Py_ssize_t>(std::strlen(e.what())),
                                          name.data(), static_cast<Py_ssize_t>(name.size()));
  if (error) {
    PyErr_SetObject(type, error);
    Py_DECREF(error);
  }
  return nullptr;
}

// A Python exception raised while converting: thrown through C++ frames.
struct PythonError {};

// ------------------------------------------------------------------ dates

PyObject* DateToPython(Date date) {
  if (!std::isfinite(date) || date < orncal::kMinDate - 1 || date >= orncal::kMaxDate + 1) {
    throw orncal::Error(orncal::ErrorNumber::kOverflow);
  }
  const orncal::DateParts p = orncal::SplitDate(date);
  if (p.Year < 1 || p.Year > 9999) throw orncal::Error(orncal::ErrorNumber::kOverflow);
  return PyDateTime_FromDateAndTime(p.Year, p.Month, p.Day, p.Hour, p.Minute, p.Second, 0);
}

// A naive datetime is local wall-clock time; an aware one is turned into
// local time first.
Date DateFromPython(PyObject* value) {
  py::object local = py::reinterpret_borrow<py::object>(value);
  if (PyDateTime_Check(value) && PyDateTime_DATE_GET_TZINFO(value) != Py_None) {
    local = local.attr("astimezone")().attr("replace")(py::arg("tzinfo") = py::none());
    value = local.ptr();
  }
  const Date day = orncal::DateFromParts(PyDateTime_GET_YEAR(value), PyDateTime_GET_MONTH(value),
                                         PyDateTime_GET_DAY(value));
  if (!PyDateTime_Check(value)) return day;
  // Before 30 December 1899 the time counts away from zero, as OLE dates do.
  const double time =
      (PyDateTime_DATE_GET_HOUR(value) * 3600.0 + PyDateTime_DATE_GET_MINUTE(value) * 60.0 +
       PyDateTime_DATE_GET_SECOND(value) + PyDateTime_DATE_GET_MICROSECOND(value) / 1e6) /
      86400.0;
  return day >= 0 ? day + time : day - time;
}

// ------------------------------------------------------------- the objects

struct PyDispatch {
  PyObject_HEAD DispatchPtr dispatch;
  // The member cache of the class: attribute name -> member index.
  PyObject* names;
};

// A member taken from an object: a method, or a property with arguments.
struct PyMember {
  PyObject_HEAD PyDispatch* owner;
  const BoundMember* member;
};

struct PyEnumerator {
  PyObject_HEAD std::shared_ptr<Enumerator> enumerator;
};

extern PyTypeObject DispatchType;
extern PyTypeObject MemberType;
extern PyTypeObject EnumeratorType;

// The Python object of every object that has one alive, by the identity
// of the object: open addressing with linear probing, so that the objects
// of a walk come and go without an allocation each.
class LiveObjects {
 public:
  PyDispatch* Find(const void* key) const {
    if (slots_.empty()) return nullptr;
    for (size_t i = Home(key);; i = (i + 1) & Mask()) {
      if (!slots_[i].object) return nullptr;
      if (slots_[i].key == key) return slots_[i].object;
    }
  }
  void Insert(const void* key, PyDispatch* object) {
    if ((count_ + 1) * 2 > slots_.size()) Grow();
    size_t i = Home(key);
    while (slots_[i].object)
      i = (i + 1) & Mask();
    slots_[i] = {key, object};
    ++count_;
  }
  // Forgets the object, if it is the one kept for its key.
  void Erase(const void* key, const PyDispatch* object) {
    if (slots_.empty()) return;
    size_t i = Home(key);
    for (; slots_[i].object; i = (i + 1) & Mask()) {
      if (slots_[i].key == key) break;
    }
    if (slots_[i].object != object) return;
    slots_[i] = {};
    --count_;
    // Moves back the entries behind it that would no longer be found.
    for (size_t j = (i + 1) & Mask(); slots_[j].object; j = (j + 1) & Mask()) {
      const size_t home = Home(slots_[j].key);
      const bool reachable = i <= j ? (home > i && home <= j) : (home > i || home <= j);
      if (reachable) continue;
      slots_[i] = slots_[j];
      slots_[j] = {};
      i = j;
    }
  }

 private:
  struct Slot {
    const void* key = nullptr;
    PyDispatch* object = nullptr;
  };
  size_t Mask() const { return slots_.size() - 1; }
  size_t Home(const void* key) const {
    uint64_t h = reinterpret_cast<uintptr_t>(key);
    h ^= h >> 29;
    h *= 0x9E3779B97F4A7C15ull;
    return static_cast<size_t>(h >> 32) & Mask();
  }
  void Grow() {
    std::vector<Slot> old = std::move(slots_);
    slots_.assign(old.empty() ? 256 : old.size() * 2, Slot{});
    count_ = 0;
    for (const Slot& s : old) {
      if (s.object) Insert(s.key, s.object);
    }
  }
  std::vector<Slot> slots_;
  size_t count_ = 0;
};

LiveObjects& Live() {
  static auto* live = new LiveObjects();
  return *live;
}

PyObject* NamesOf(const ClassTable* table) {
  // A few dozen classes at most: a short walk.
  static auto* caches = new std::vector<std::pair<const ClassTable*, PyObject*>>();
  for (const auto& [t, names] : *caches) {
    if (t == table) return names;
  }
  caches->emplace_back(table, PyDict_New());
  return caches->back().second;
}

PyObject* PyWrap(DispatchPtr dispatch) {
  if (!dispatch) Py_RETURN_NONE;
  const void* identity = dispatch->Identity();
  if (PyDispatch* known = Live().Find(identity)) {
    Py_INCREF(known);
    return reinterpret_cast<PyObject*>(known);
  }
  PyDispatch* self = PyObject_New(PyDispatch, &DispatchType);
  if (!self) return nullptr;
  new (&self->dispatch) DispatchPtr(std::move(dispatch));
  self->names = self->dispatch->Table() ? NamesOf(self->dispatch->Table()) : nullptr;
  Live().Insert(identity, self);
  return reinterpret_cast<PyObject*>(self);
}

PyObject* ToPython(const Variant& v) {
  switch (v.Type()) {
    case VarType::kEmpty:
    case VarType::kMissing:
      Py_RETURN_NONE;
    case VarType::kBool:
      return PyBool_FromLong(v.Bool());
    case VarType::kInt16:
      return PyLong_FromLong(v.Int16());
    case VarType::kInt32:
      return PyLong_FromLong(v.Int32());
    case VarType::kDouble:
      return PyFloat_FromDouble(v.Double());
    case VarType::kDate:
      return DateToPython(v.DateValue());
    case VarType::kString:
      return PyUnicode_DecodeUTF8(v.String().data(), static_cast<Py_ssize_t>(v.String().size()),
                                  "replace");
    case VarType::kObject:
      return PyWrap(v.Object());
    case VarType::kStringArray:
    case VarType::kVariantArray: {
      const bool strings = v.Type() == VarType::kStringArray;
      const size_t n = strings ? v.Strings().size() : v.Variants().size();
      PyObject* tuple = PyTuple_New(static_cast<Py_ssize_t>(n));
      if (!tuple) return nullptr;
      for (size_t i = 0; i < n; ++i) {
        PyObject* item = strings ? ToPython(Variant(v.Strings()[i])) : ToPython(v.Variants()[i]);
        if (!item) {
          Py_DECREF(tuple);
          return nullptr;
        }
        PyTuple_SET_ITEM(tuple, static_cast<Py_ssize_t>(i), item);
      }
      return tuple;
    }
  }
  Py_RETURN_NONE;
}

Variant FromPython(PyObject* value) {
  if (value == Py_None) return Variant();
  if (PyBool_Check(value)) return Variant(value == Py_True);
  if (PyLong_Check(value)) {
    int overflow = 0;
    const long long n = PyLong_AsLongLongAndOverflow(value, &overflow);
    if (!overflow && n >= INT32_MIN && n <= INT32_MAX) return Variant(static_cast<int32_t>(n));
    const double d = PyLong_AsDouble(value);
    if (d == -1.0 && PyErr_Occurred()) {
      PyErr_Clear();
      throw orncal::Error(orncal::ErrorNumber::kOverflow);
    }
    return Variant(d);
  }
  if (PyFloat_Check(value)) return Variant(PyFloat_AS_DOUBLE(value));
  if (PyUnicode_Check(value)) {
    Py_ssize_t size = 0;
    const char* text = PyUnicode_AsUTF8AndSize(value, &size);
    if (!text) throw PythonError{};
    return Variant(std::string_view(text, static_cast<size_t>(size)));
  }
  if (PyDate_Check(value)) return Variant::FromDate(DateFromPython(value));
  if (Py_TYPE(value) == &DispatchType) {
    return Variant(reinterpret_cast<PyDispatch*>(value)->dispatch);
  }
  if (PyList_Check(value) || PyTuple_Check(value)) {
    py::sequence items = py::reinterpret_borrow<py::sequence>(value);
    bool strings = true;
    Variant::VariantArray all;
    for (py::handle item : items) {
      all.push_back(FromPython(item.ptr()));
      strings = strings && all.back().Type() == VarType::kString;
    }
    if (!strings || all.empty()) return Variant(std::move(all));
    Variant::StringArray texts;
    for (Variant& v : all)
      texts.push_back(std::move(v.String()));
    return Variant(std::move(texts));
  }
  throw orncal::Error(orncal::ErrorNumber::kTypeMismatch);
}

// Runs a call into the library, turning its errors into Python ones; a
// Python error raised during a conversion passes as it is.
template <class F>
PyObject* Call(F&& f, std::string_view name = {}) {
  try {
    return f();
  } catch (const PythonError&) {
    return nullptr;
  } catch (const py::error_already_set& e) {
    py::error_already_set(e).restore();
    return nullptr;
  } catch (const orncal::Error& e) {
    return RaiseError(e, name);
  } catch (const std::bad_alloc&) {
    return PyErr_NoMemory();
  } catch (const std::exception& e) {
    return RaiseError(orncal::Error(orncal::ErrorNumber::kInternalError, e.what()), name);
  }
}

// The member of an object by attribute name, blind to case; nullptr for none.
const BoundMember* MemberNamed(PyDispatch* self, PyObject* name) {
  const ClassTable* table = self->dispatch->Table();
  if (!table) return nullptr;
  PyObject* index = PyDict_GetItemWithError(self->names, name);
  if (index) return &table->Members()[PyLong_AsSize_t(index)];
  if (PyErr_Occurred()) return nullptr;
  Py_ssize_t size = 0;
  const char* text = PyUnicode_AsUTF8AndSize(name, &size);
  if (!text) {
    PyErr_Clear();
    return nullptr;
  }
  const BoundMember* member = table->FindName(std::string_view(text, static_cast<size_t>(size)));
  // Only names that name a member are kept, so the cache stays small.
  if (member && PyDict_Size(self->names) < 4096) {
    PyObject* i = PyLong_FromSize_t(static_cast<size_t>(member - table->Members().data()));
    if (i) {
      PyDict_SetItem(self->names, name, i);
      Py_DECREF(i);
    }
  }
  return member;
}

std::string NameOf(PyObject* name) {
  const char* text = PyUnicode_AsUTF8(name);
  if (!text) {
    PyErr_Clear();
    return {};
  }
  return text;
}

PyObject* NewMember(PyDispatch* owner, const BoundMember* member) {
  PyMember* m = PyObject_New(PyMember, &MemberType);
  if (!m) return nullptr;
  Py_INCREF(owner);
  m->owner = owner;
  m->member = member;
  return reinterpret_cast<PyObject*>(m);
}

// Calls a member with Python arguments. Out arguments that were given come
// back after the result.
PyObject* Invoke(PyDispatch* self, const BoundMember& member, uint16_t kind, PyObject* args,
                 PyObject* kwargs, PyObject* value = nullptr) {
  return Call(
      [&]() -> PyObject* {
        std::vector<Variant> positional;
        const Py_ssize_t count = args ? PyTuple_GET_SIZE(args) : 0;
        if (count > 0 || value) positional.reserve(static_cast<size_t>(count) + 1);
        for (Py_ssize_t i = 0; i < count; ++i)
          positional.push_back(FromPython(PyTuple_GET_ITEM(args, i)));
        std::vector<NamedArgument> named;
        if (kwargs && PyDict_Size(kwargs) > 0) {
          PyObject *key, *item;
          Py_ssize_t pos = 0;
          while (PyDict_Next(kwargs, &pos, &key, &item)) {
            const int32_t position = self->dispatch->GetArgPosition(member.dispid, NameOf(key));
            if (position < 0) throw orncal::Error(orncal::ErrorNumber::kNamedArgumentNotFound);
            named.push_back({position, FromPython(item)});
          }
        }
        if (value) positional.push_back(FromPython(value));
        Variant result = self->dispatch->Invoke(member.dispid, kind, positional, named);

        // The out arguments the caller gave, in the order they are declared.
        std::vector<const Variant*> outs;
        const auto& declared = member.info->args;
        for (size_t i = 0; i < declared.size(); ++i) {
          if (!declared[i].Out()) continue;
          if (i < static_cast<size_t>(count)) outs.push_back(&positional[i]);
          for (const NamedArgument& n : named) {
            if (static_cast<size_t>(n.position) == i) outs.push_back(&n.value);
          }
        }
        if (outs.empty()) return ToPython(result);
        py::tuple all(outs.size() + 1);
        all[0] = py::reinterpret_steal<py::object>(ToPython(result));
        for (size_t i = 0; i < outs.size(); ++i) {
          PyObject* out = ToPython(*outs[i]);
          if (!out) throw PythonError{};
          all[i + 1] = py::reinterpret_steal<py::object>(out);
        }
        return all.release().ptr();
      },
      member.info->name);
}

// Writes a property: objects (and None where only an object can go) are
// set, everything else let.
PyObject* Put(PyDispatch* self, const BoundMember& member, PyObject* args, PyObject* value) {
  const bool object = Py_TYPE(value) == &DispatchType || (value == Py_None && !member.let);
  uint16_t kind = object ? kInvokePropertySet : kInvokePropertyLet;
  if (!(member.Flags() & kind)) kind = member.set ? kInvokePropertySet : kInvokePropertyLet;
  return Invoke(self, member, kind, args, nullptr, value);
}

// ------------------------------------------------------- Object type slots

void DispatchDealloc(PyObject* o) {
  auto* self = reinterpret_cast<PyDispatch*>(o);
  Live().Erase(self->dispatch->Identity(), self);
  self->dispatch.~DispatchPtr();
  PyObject_Free(o);
}

PyObject* DispatchGetAttr(PyObject* o, PyObject* name) {
  auto* self = reinterpret_cast<PyDispatch*>(o);
  if (PyUnicode_Check(name) && PyUnicode_GET_LENGTH(name) > 0 &&
      PyUnicode_READ_CHAR(name, 0) == '_') {
    return PyObject_GenericGetAttr(o, name);
  }
  const BoundMember* member = MemberNamed(self, name);
  if (!member) {
    if (PyErr_Occurred()) return nullptr;
    return RaiseError(orncal::Error(orncal::ErrorNumber::kUnknownMember), NameOf(name));
  }
  if (member->get && member->info->args.empty()) {
    // The common case, kept short: a property read.
    return Call(
        [&] { return ToPython(self->dispatch->Invoke(member->dispid, kInvokePropertyGet)); },
        member->info->name);
  }
  if (member->get && member->RequiredArgs() == 0) {
    return Invoke(self, *member, kInvokePropertyGet, nullptr, nullptr);
  }
  return NewMember(self, member);
}

int DispatchSetAttr(PyObject* o, PyObject* name, PyObject* value) {
  auto* self = reinterpret_cast<PyDispatch*>(o);
  if (!value) {
    PyErr_SetString(PyExc_AttributeError, "members of calendar objects cannot be deleted");
    return -1;
  }
  const BoundMember* member = PyUnicode_Check(name) ? MemberNamed(self, name) : nullptr;
  if (!member) {
    if (!PyErr_Occurred()) {
      RaiseError(orncal::Error(orncal::ErrorNumber::kUnknownMember), NameOf(name));
    }
    return -1;
  }
  PyObject* done = Put(self, *member, nullptr, value);
  if (!done) return -1;
  Py_DECREF(done);
  return 0;
}

const BoundMember* DefaultMember(PyDispatch* self) {
  const ClassTable* table = self->dispatch->Table();
  const BoundMember* member = table ? table->Find(kDispIdValue) : nullptr;
  if (!member) RaiseError(orncal::Error(orncal::ErrorNumber::kUnknownMember), "(default)");
  return member;
}

uint16_t ReadKind(const BoundMember& member) {
  return member.method ? kInvokeMethod : kInvokePropertyGet;
}

PyObject* DispatchCall(PyObject* o, PyObject* args, PyObject* kwargs) {
  auto* self = reinterpret_cast<PyDispatch*>(o);
  const BoundMember* member = DefaultMember(self);
  return member ? Invoke(self, *member, ReadKind(*member), args, kwargs) : nullptr;
}

// obj[k] and obj[k] = v: a tuple key is several arguments.
PyObject* KeyArgs(PyObject* key) {
  if (PyTuple_Check(key)) {
    Py_INCREF(key);
    return key;
  }
  return PyTuple_Pack(1, key);
}

PyObject* DispatchGetItem(PyObject* o, PyObject* key) {
  auto* self = reinterpret_cast<PyDispatch*>(o);
  const BoundMember* member = DefaultMember(self);
  if (!member) return nullptr;
  py::object args = py::reinterpret_steal<py::object>(KeyArgs(key));
  return args ? Invoke(self, *member, ReadKind(*member), args.ptr(), nullptr) : nullptr;
}

int DispatchSetItem(PyObject* o, PyObject* key, PyObject* value) {
  auto* self = reinterpret_cast<PyDispatch*>(o);
  const BoundMember* member = DefaultMember(self);
  if (!member || !value) {
    if (!value) PyErr_SetString(PyExc_TypeError, "entries cannot be deleted this way");
    return -1;
  }
  py::object args = py::reinterpret_steal<py::object>(KeyArgs(key));
  if (!args) return -1;
  PyObject* done = Put(self, *member, args.ptr(), value);
  if (!done) return -1;
  Py_DECREF(done);
  return 0;
}

PyObject* DispatchIter(PyObject* o) {
  auto* self = reinterpret_cast<PyDispatch*>(o);
  return Call([&]() -> PyObject* {
    Variant e = self->dispatch->Invoke(kDispIdNewEnum, kInvokeMethod | kInvokePropertyGet);
    auto enumerator = std::dynamic_pointer_cast<Enumerator>(e.ToObject());
    if (!enumerator) throw orncal::Error(orncal::ErrorNumber::kTypeMismatch);
    PyEnumerator* it = PyObject_New(PyEnumerator, &EnumeratorType);
    if (!it) return nullptr;
    new (&it->enumerator) std::shared_ptr<Enumerator>(std::move(enumerator));
    return reinterpret_cast<PyObject*>(it);
  });
}

PyObject* DispatchCompare(PyObject* a, PyObject* b, int op) {
  if ((op != Py_EQ && op != Py_NE) || Py_TYPE(b) != &DispatchType) Py_RETURN_NOTIMPLEMENTED;
  const bool same = reinterpret_cast<PyDispatch*>(a)->dispatch->Identity() ==
                    reinterpret_cast<PyDispatch*>(b)->dispatch->Identity();
  return PyBool_FromLong(op == Py_EQ ? same : !same);
}

Py_hash_t DispatchHash(PyObject* o) {
  const auto bits =
      reinterpret_cast<uintptr_t>(reinterpret_cast<PyDispatch*>(o)->dispatch->Identity());
  const auto hash = static_cast<Py_hash_t>(bits >> 4 | bits << (8 * sizeof(bits) - 4));
  return hash == -1 ? -2 : hash;
}

std::string ClassName(PyDispatch* self) {
  const ClassTable* table = self->dispatch->Table();
  return table ? std::string(table->Class().name) : "object";
}

PyObject* DispatchRepr(PyObject* o) {
  auto* self = reinterpret_cast<PyDispatch*>(o);
  return PyUnicode_FromFormat("<orncalendar %s at %p>", ClassName(self).c_str(),
                              self->dispatch->Identity());
}

PyObject* DispatchDir(PyObject* o, PyObject*) {
  auto* self = reinterpret_cast<PyDispatch*>(o);
  PyObject* names = PyList_New(0);
  if (!names) return nullptr;
  if (const ClassTable* table = self->dispatch->Table()) {
    for (const BoundMember& m : table->Members()) {
      PyObject* name = PyUnicode_FromStringAndSize(m.info->name.data(),
                                                   static_cast<Py_ssize_t>(m.info->name.size()));
      if (!name || PyList_Append(names, name) < 0) {
        Py_XDECREF(name);
        Py_DECREF(names);
        return nullptr;
      }
      Py_DECREF(name);
    }
  }
  return names;
}

PyObject* DispatchClassName(PyObject* o, void*) {
  return PyUnicode_FromString(ClassName(reinterpret_cast<PyDispatch*>(o)).c_str());
}

PyMethodDef kDispatchMethods[] = {
    {"__dir__", DispatchDir, METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};
PyGetSetDef kDispatchGetSet[] = {
    {"_class_name", DispatchClassName, nullptr, "the class of the object", nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};
PyMappingMethods kDispatchMapping = {nullptr, DispatchGetItem, DispatchSetItem};

// ------------------------------------------------------- Member type slots

void MemberDealloc(PyObject* o) {
  Py_DECREF(reinterpret_cast<PyMember*>(o)->owner);
  PyObject_Free(o);
}

PyObject* MemberCall(PyObject* o, PyObject* args, PyObject* kwargs) {
  auto* m = reinterpret_cast<PyMember*>(o);
  return Invoke(m->owner, *m->member, ReadKind(*m->member), args, kwargs);
}

PyObject* MemberGetItem(PyObject* o, PyObject* key) {
  auto* m = reinterpret_cast<PyMember*>(o);
  py::object args = py::reinterpret_steal<py::object>(KeyArgs(key));
  return args ? Invoke(m->owner, *m->member, ReadKind(*m->member), args.ptr(), nullptr) : nullptr;
}

int MemberSetItem(PyObject* o, PyObject* key, PyObject* value) {
  auto* m = reinterpret_cast<PyMember*>(o);
  if (!value) {
    PyErr_SetString(PyExc_TypeError, "entries cannot be deleted this way");
    return -1;
  }
  py::object args = py::reinterpret_steal<py::object>(KeyArgs(key));
  if (!args) return -1;
  PyObject* done = Put(m->owner, *m->member, args.ptr(), value);
  if (!done) return -1;
  Py_DECREF(done);
  return 0;
}

PyObject* MemberRepr(PyObject* o) {
  auto* m = reinterpret_cast<PyMember*>(o);
  const std::string name(m->member->info->name);
  return PyUnicode_FromFormat("<orncalendar member %s.%s>", ClassName(m->owner).c_str(),
                              name.c_str());
}

const char* TypeName(const TypeRef& type) {
  switch (type.kind) {
    case TypeKind::kVoid:
      return "";
    case TypeKind::kBool:
      return "Boolean";
    case TypeKind::kInt16:
      return "Integer";
    case TypeKind::kInt32:
    case TypeKind::kEnum:
      return "Long";
    case TypeKind::kDate:
      return "Date";
    case TypeKind::kString:
      return "String";
    case TypeKind::kVariant:
      return "Variant";
    case TypeKind::kStringArray:
      return "String()";
    case TypeKind::kObject:
      return type.name.data();  // the names are literals
  }
  return "";
}

// The arguments: (name, type, optional, out) each.
PyObject* MemberArgs(PyObject* o, void*) {
  auto* m = reinterpret_cast<PyMember*>(o);
  const auto& args = m->member->info->args;
  PyObject* all = PyTuple_New(static_cast<Py_ssize_t>(args.size()));
  if (!all) return nullptr;
  for (size_t i = 0; i < args.size(); ++i) {
    PyObject* one =
        Py_BuildValue("(s#sOO)", args[i].name.data(), static_cast<Py_ssize_t>(args[i].name.size()),
                      TypeName(args[i].type), args[i].Optional() ? Py_True : Py_False,
                      args[i].Out() ? Py_True : Py_False);
    if (!one) {
      Py_DECREF(all);
      return nullptr;
    }
    PyTuple_SET_ITEM(all, static_cast<Py_ssize_t>(i), one);
  }
  return all;
}

PyMappingMethods kMemberMapping = {nullptr, MemberGetItem, MemberSetItem};
PyGetSetDef kMemberGetSet[] = {
    {"_args", MemberArgs, nullptr, "the arguments: (name, type, optional, out) each", nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

// --------------------------------------------------- Enumerator type slots

void EnumeratorDealloc(PyObject* o) {
  reinterpret_cast<PyEnumerator*>(o)->enumerator.~shared_ptr();
  PyObject_Free(o);
}

PyObject* EnumeratorSelf(PyObject* o) {
  Py_INCREF(o);
  return o;
}

PyObject* EnumeratorNext(PyObject* o) {
  auto* self = reinterpret_cast<PyEnumerator*>(o);
  return Call([&]() -> PyObject* {
    Variant entry;
    if (!self->enumerator->Next(entry)) return nullptr;  // the end, no error set
    return ToPython(entry);
  });
}

PyTypeObject MakeType(const char* name, size_t size) {
  PyTypeObject type{};
  Py_SET_REFCNT(reinterpret_cast<PyObject*>(&type), 1);
  type.tp_name = name;
  type.tp_basicsize = static_cast<Py_ssize_t>(size);
  type.tp_flags = Py_TPFLAGS_DEFAULT;
  return type;
}

// ------------------------------------------------------------- event sinks

// Calls a Python handler's Change and TasksChange methods (by the names of
// the event interface); a handler without one is skipped. What the handler
// raises is reported as unraisable: an event never fails the change.
class PythonSink final : public Dispatch {
 public:
  PythonSink(PyObject* handler, const InterfaceInfo& events) : handler_(handler), events_(events) {
    Py_INCREF(handler_);
  }
  ~PythonSink() override {
    // At the end of the process the interpreter may be gone before the
    // calendar that holds the sink.
    if (Py_IsInitialized()) {
      PyGILState_STATE gil = PyGILState_Ensure();
      Py_DECREF(handler_);
      PyGILState_Release(gil);
    }
  }
  DispId GetIDOfName(std::string_view) const override { return kDispIdUnknown; }
  int32_t GetArgPosition(DispId, std::string_view) const override { return -1; }
  Variant Invoke(DispId member, uint16_t, std::span<Variant>, std::span<NamedArgument>) override {
    for (const MemberInfo& event : events_.members) {
      if (event.dispid != member) continue;
      PyGILState_STATE gil = PyGILState_Ensure();
      const std::string name(event.name);
      PyObject* method = PyObject_GetAttrString(handler_, name.c_str());
      if (!method) {
        PyErr_Clear();
      } else {
        PyObject* result = PyObject_CallNoArgs(method);
        if (!result) PyErr_WriteUnraisable(method);
        Py_XDECREF(result);
        Py_DECREF(method);
      }
      PyGILState_Release(gil);
    }
    return {};
  }

 private:
  PyObject* handler_;
  const InterfaceInfo& events_;
};

// ------------------------------------------------------------- the module

DispatchPtr DispatchOf(const py::handle& object) {
  if (Py_TYPE(object.ptr()) != &DispatchType) throw py::type_error("not a calendar object");
  return reinterpret_cast<PyDispatch*>(object.ptr())->dispatch;
}

py::object Steal(PyObject* o) {
  if (!o) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(o);
}

PyTypeObject DispatchType = MakeType("orncalendar.Object", sizeof(PyDispatch));
PyTypeObject MemberType = MakeType("orncalendar.Member", sizeof(PyMember));
PyTypeObject EnumeratorType = MakeType("orncalendar.Enumerator", sizeof(PyEnumerator));

}  // namespace

PYBIND11_MODULE(_orncalendar, m) {
  PyDateTime_IMPORT;
  if (!PyDateTimeAPI) throw py::error_already_set();

  DispatchType.tp_doc = "A calendar object: its members are its attributes, by name.";
  DispatchType.tp_dealloc = DispatchDealloc;
  DispatchType.tp_getattro = DispatchGetAttr;
  DispatchType.tp_setattro = DispatchSetAttr;
  DispatchType.tp_call = DispatchCall;
  DispatchType.tp_as_mapping = &kDispatchMapping;
  DispatchType.tp_iter = DispatchIter;
  DispatchType.tp_richcompare = DispatchCompare;
  DispatchType.tp_hash = DispatchHash;
  DispatchType.tp_repr = DispatchRepr;
  DispatchType.tp_methods = kDispatchMethods;
  DispatchType.tp_getset = kDispatchGetSet;
  MemberType.tp_doc = "A method, or a property with arguments, of a calendar object.";
  MemberType.tp_dealloc = MemberDealloc;
  MemberType.tp_call = MemberCall;
  MemberType.tp_as_mapping = &kMemberMapping;
  MemberType.tp_repr = MemberRepr;
  MemberType.tp_getset = kMemberGetSet;
  EnumeratorType.tp_dealloc = EnumeratorDealloc;
  EnumeratorType.tp_iter = EnumeratorSelf;
  EnumeratorType.tp_iternext = EnumeratorNext;
  for (PyTypeObject* type : {&DispatchType, &MemberType, &EnumeratorType}) {
    if (PyType_Ready(type) < 0) throw py::error_already_set();
  }
  m.add_object("Object", reinterpret_cast<PyObject*>(&DispatchType));
  m.add_object("Member", reinterpret_cast<PyObject*>(&MemberType));

  m.def("_set_error_classes", [](py::object error, py::object unknown_name) {
    g_error = error.release().ptr();
    g_unknown_name = unknown_name.release().ptr();
  });

  m.def(
      "CreateObject",
      [](std::string_view id) { return Steal(Call([&] { return PyWrap(CreateObject(id)); })); },
      py::arg("id"),
      "A new object of a creatable class, by its identifier (\"OrnCalendar.CalendarMain\") or "
      "class identifier; error 429 for any other.");
  m.def(
      "UseApplicationDataFolder",
      [](std::string folder) { orncal::UseApplicationDataFolder(folder); }, py::arg("folder"),
      "Makes the calendar keep its files in folder/Ornavel/Calendar/files. Call it before the "
      "first CalendarMain of the process.");
  m.def(
      "UseNotifier", [](bool use) { orncal::UseNotifier(use); }, py::arg("use"),
      "UseNotifier(False) before the first CalendarMain makes the calendar work alone, without "
      "the notifier that relays changes between processes.");
  m.def(
      "ProcessNotifications",
      [] {
        int handled = 0;
        Steal(Call([&]() -> PyObject* {
          handled = ProcessNotifications();
          Py_RETURN_NONE;
        }));
        return handled;
      },
      "Handles the changes other processes sent that have arrived: the calendar takes them in "
      "and the connected handlers' Change and TasksChange run, now, on this thread. Returns how "
      "many messages were handled; waits for none.");
  m.def(
      "NotificationDescriptor",
      [] {
        std::intptr_t descriptor = -1;
        Steal(Call([&]() -> PyObject* {
          descriptor = NotificationDescriptor();
          Py_RETURN_NONE;
        }));
        return descriptor;
      },
      "The file descriptor that becomes readable when ProcessNotifications has something to do "
      "(for select, selectors, asyncio's add_reader); the same for the life of the process; -1 "
      "when the calendar works alone.");
  m.def(
      "_application", [] { return Steal(Call([] { return PyWrap(ApplicationObject()); })); },
      "The application object (CalendarMain), made at first use.");

  m.def(
      "_advise",
      [](py::handle source, py::object handler) {
        DispatchPtr object = DispatchOf(source);
        EventSource* events = object->Events();
        if (!events) {
          Steal(RaiseError(orncal::Error(orncal::ErrorNumber::kUnknownMember), "events"));
        }
        uint64_t cookie = 0;
        Steal(Call([&]() -> PyObject* {
          cookie =
              events->Advise(std::make_shared<PythonSink>(handler.ptr(), events->EventInterface()));
          Py_RETURN_NONE;
        }));
        return cookie;
      },
      "Connects a handler to the events of an object; the cookie ends the connection.");
  m.def("_unadvise", [](py::handle source, uint64_t cookie) {
    DispatchPtr object = DispatchOf(source);
    Steal(Call([&]() -> PyObject* {
      if (EventSource* events = object->Events()) events->Unadvise(cookie);
      Py_RETURN_NONE;
    }));
  });
  m.def("_event_names", [](py::handle source) {
    py::list names;
    if (EventSource* events = DispatchOf(source)->Events()) {
      for (const MemberInfo& e : events->EventInterface().members)
        names.append(py::str(std::string(e.name)));
    }
    return names;
  });

  py::dict enums;
  for (const EnumInfo& e : TypeLibrary().enums) {
    for (const EnumValue& v : e.values)
      enums[py::str(std::string(v.name))] = v.value;
  }
  m.attr("_enums") = enums;

  // For the tests: a calendar started afresh on an application-data folder,
  // a clock that stands still, and the month file no member hands out.
  m.def("_testing_restart", [](std::string folder) {
    orncal::core::ResetStartupForTesting();
    ResetApplicationObjectForTesting();
    orncal::UseApplicationDataFolder(folder);
  });
  m.def("_testing_set_clock", [](py::object when) {
    if (when.is_none()) {
      orncal::SetClock(nullptr);
    } else {
      orncal::SetClock(std::make_shared<orncal::ManualClock>(DateFromPython(when.ptr())));
    }
  });
  m.def("_testing_month_file", [](py::handle calendar, int32_t file_long) {
    return Steal(Call([&] {
      orncal::CalendarPtr c = Unwrap<orncal::Calendar>(DispatchOf(calendar));
      if (!c) throw orncal::Error(orncal::ErrorNumber::kObjectNotSet);
      return PyWrap(Wrap(c->GetMonthFile(orncal::MonthRef{.FileLong = file_long})));
    }));
  });
}
