#include "api/dispatch.h"

#include <algorithm>
#include <array>
#include <new>

#include "orncalendar/error.h"

namespace orncal::api {
namespace {

// More than any member of the library declares.
constexpr size_t kMaxArgs = 16;

std::string Lower(std::string_view name) {
  std::string lower(name);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

bool SameName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
           if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
           return x == y;
         });
}

Variant DefaultOf(const ArgInfo& arg) {
  switch (arg.default_value.kind) {
    case DefaultValue::Kind::kNone:
      return Variant::Missing();
    case DefaultValue::Kind::kBool:
      return Variant(arg.default_value.value != 0);
    case DefaultValue::Kind::kInt:
      break;
  }
  Variant v(arg.default_value.value);
  v.ConvertTo(arg.type.kind);
  return v;
}

// Runs a binding; what the C++ side raises besides orncal::Error becomes
// an error number too.
Variant Run(BindingFunction function, Dispatch& self, Arguments& args) {
  try {
    return function(self, args);
  } catch (const Error&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw Error(ErrorNumber::kOutOfMemory);
  } catch (const std::exception& e) {
    throw Error(ErrorNumber::kInternalError, e.what());
  }
}

}  // namespace

void Dispatch::GetIDsOfNames(std::span<const std::string_view> names, std::span<DispId> ids) const {
  if (names.empty()) return;
  const DispId member = GetIDOfName(names[0]);
  if (!ids.empty()) ids[0] = member;
  if (member == kDispIdUnknown) throw Error(ErrorNumber::kUnknownMember);
  bool all = true;
  for (size_t i = 1; i < names.size(); ++i) {
    const int32_t position = GetArgPosition(member, names[i]);
    if (i < ids.size()) ids[i] = position < 0 ? kDispIdUnknown : position;
    all = all && position >= 0;
  }
  if (!all) throw Error(ErrorNumber::kNamedArgumentNotFound);
}

Variant Dispatch::InvokeByName(std::string_view name, uint16_t kind, std::span<Variant> args,
                               std::span<NamedArgument> named) {
  const DispId id = GetIDOfName(name);
  if (id == kDispIdUnknown) throw Error(ErrorNumber::kUnknownMember);
  return Invoke(id, kind, args, named);
}

size_t BoundMember::RequiredArgs() const {
  size_t n = 0;
  for (const ArgInfo& a : info->args) {
    if (!a.Optional()) ++n;
  }
  return n;
}

ClassTable::ClassTable(const ClassInfo& info, std::span<const Binding> bindings) : info_(&info) {
  for (std::string_view name : {info.also_implements, info.default_interface}) {
    if (name.empty()) continue;
    if (const InterfaceInfo* i = FindInterface(name)) interfaces_.push_back(i);
  }
  std::vector<bool> used(bindings.size());
  for (const InterfaceInfo* i : interfaces_) {
    for (const MemberInfo& m : i->members) {
      if (FindName(m.name)) continue;  // the interface handled through answers it
      BoundMember bound{.info = &m, .dispid = m.dispid};
      for (size_t b = 0; b < bindings.size(); ++b) {
        if (!SameName(bindings[b].name, m.name) || !(m.Flags() & bindings[b].kind)) continue;
        used[b] = true;
        switch (bindings[b].kind) {
          case kInvokeMethod:
            bound.method = bindings[b].function;
            break;
          case kInvokePropertyGet:
            bound.get = bindings[b].function;
            break;
          case kInvokePropertyLet:
            bound.let = bindings[b].function;
            break;
          case kInvokePropertySet:
            bound.set = bindings[b].function;
            break;
        }
      }
      names_.emplace_back(Lower(m.name), members_.size());
      members_.push_back(bound);
      std::sort(names_.begin(), names_.end());
    }
  }
  for (size_t b = 0; b < bindings.size(); ++b) {
    if (!used[b]) unused_bindings_.push_back(std::string(bindings[b].name) + " (binding)");
  }
  // Identifiers are small: a direct look-up.
  for (size_t i = 0; i < members_.size(); ++i) {
    const auto slot = static_cast<size_t>(static_cast<int64_t>(members_[i].dispid) - kLowestId);
    if (slot >= by_id_.size()) by_id_.resize(slot + 1);
    by_id_[slot] = static_cast<uint8_t>(i + 1);
  }
}

const BoundMember* ClassTable::Find(DispId id) const {
  const auto slot = static_cast<size_t>(static_cast<int64_t>(id) - kLowestId);
  if (slot >= by_id_.size() || by_id_[slot] == 0) return nullptr;
  return &members_[by_id_[slot] - 1];
}

const BoundMember* ClassTable::FindName(std::string_view name) const {
  // Short names are folded on the stack.
  std::array<char, 40> buffer;
  if (name.size() > buffer.size()) return nullptr;
  for (size_t i = 0; i < name.size(); ++i) {
    char c = name[i];
    buffer[i] = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  const std::string_view lower(buffer.data(), name.size());
  auto it =
      std::lower_bound(names_.begin(), names_.end(), lower,
                       [](const auto& entry, std::string_view key) { return entry.first < key; });
  if (it == names_.end() || it->first != lower) return nullptr;
  return &members_[it->second];
}

bool ClassTable::Implements(std::string_view interface) const {
  return std::any_of(interfaces_.begin(), interfaces_.end(),
                     [&](const InterfaceInfo* i) { return i->name == interface; });
}

std::vector<std::string> ClassTable::Mismatches() const {
  std::vector<std::string> out = unused_bindings_;
  for (const InterfaceInfo* i : interfaces_) {
    for (const MemberInfo& m : i->members) {
      const BoundMember* bound = FindName(m.name);
      const uint16_t missing = m.Flags() & ~bound->Flags();
      static constexpr std::pair<uint16_t, const char*> kNames[] = {{kInvokeMethod, "method"},
                                                                    {kInvokePropertyGet, "get"},
                                                                    {kInvokePropertyLet, "let"},
                                                                    {kInvokePropertySet, "set"}};
      for (auto [flag, word] : kNames) {
        if (missing & flag) out.push_back(std::string(m.name) + " (" + word + ")");
      }
    }
  }
  return out;
}

Variant ClassTable::Invoke(Dispatch& self, DispId id, uint16_t kind, std::span<Variant> args,
                           std::span<NamedArgument> named) const {
  const BoundMember* m = Find(id);
  if (!m) throw Error(ErrorNumber::kUnknownMember);
  BindingFunction function = nullptr;
  bool put = false, set = false;
  if ((kind & kInvokePropertyGet) && m->get) {
    function = m->get;
  } else if ((kind & kInvokeMethod) && m->method) {
    function = m->method;
  } else if ((kind & kInvokePropertyLet) && m->let) {
    function = m->let;
    put = true;
  } else if ((kind & kInvokePropertySet) && m->set) {
    function = m->set;
    put = set = true;
  } else {
    throw Error(ErrorNumber::kUnknownMember);
  }

  const MemberInfo& info = *m->info;
  Variant value;
  if (put) {
    if (args.empty()) throw Error(ErrorNumber::kArgumentNotOptional);
    value = args.back();
    args = args.first(args.size() - 1);
    if (set) {
      if (value.Type() != VarType::kObject && !value.IsEmpty()) {
        throw Error(ErrorNumber::kObjectRequired);
      }
      value.ConvertTo(TypeKind::kObject);
    } else {
      value.ConvertTo(info.type.kind);
    }
  }
  const size_t count = info.args.size();
  if (args.size() > count || count > kMaxArgs) throw Error(ErrorNumber::kWrongArgumentCount);
  if (count == 0) {
    // The common case: a property read or a method without arguments.
    if (!named.empty()) throw Error(ErrorNumber::kNamedArgumentNotFound);
    Arguments none({}, &value);
    Variant result = Run(function, self, none);
    if (put || info.type.kind == TypeKind::kVoid) return {};
    result.ConvertTo(info.type.kind);
    return result;
  }

  std::vector<Variant> slots(count);
  std::array<Variant*, kMaxArgs> origin{};
  for (size_t i = 0; i < args.size(); ++i)
    origin[i] = &args[i];
  for (NamedArgument& n : named) {
    if (n.position < 0 || static_cast<size_t>(n.position) >= count) {
      throw Error(ErrorNumber::kNamedArgumentNotFound);
    }
    if (origin[n.position]) throw Error(ErrorNumber::kWrongArgumentCount);  // given twice
    origin[n.position] = &n.value;
  }
  for (size_t i = 0; i < count; ++i) {
    const ArgInfo& declared = info.args[i];
    if (!origin[i] || origin[i]->IsMissing()) {
      if (!declared.Optional()) throw Error(ErrorNumber::kArgumentNotOptional);
      slots[i] = DefaultOf(declared);
    } else {
      slots[i] = *origin[i];
      slots[i].ConvertTo(declared.type.kind);
    }
  }

  Arguments arguments(slots, &value);
  Variant result = Run(function, self, arguments);
  for (size_t i = 0; i < count; ++i) {
    if (info.args[i].Out() && origin[i]) *origin[i] = std::move(slots[i]);
  }
  if (put || info.type.kind == TypeKind::kVoid) return {};
  result.ConvertTo(info.type.kind);
  return result;
}

DispId TableDispatch::GetIDOfName(std::string_view name) const {
  const BoundMember* m = table_->FindName(name);
  return m ? m->dispid : kDispIdUnknown;
}

int32_t TableDispatch::GetArgPosition(DispId member, std::string_view name) const {
  const BoundMember* m = table_->Find(member);
  if (!m) return -1;
  for (size_t i = 0; i < m->info->args.size(); ++i) {
    if (SameName(m->info->args[i].name, name)) return static_cast<int32_t>(i);
  }
  return -1;
}

namespace {
const ClassTable& EnumeratorTable() {
  static const ClassTable table(EnumeratorClass(), {});
  return table;
}
}  // namespace

Enumerator::Enumerator() : TableDispatch(EnumeratorTable()) {}

}  // namespace orncal::api
