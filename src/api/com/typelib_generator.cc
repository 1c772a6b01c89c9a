// Writes the type library's interface definition and the C++ tables of the
// dual interfaces from the description in api/type_library.cc, so that the
// Windows server and the late-bound layer share one source. It runs on the
// build machine during the cross build, so it uses the standard library
// only.
//
//   typelib_generator <out.idl> <out.inc>
//
// The interface definition: one dual interface per described interface,
// members in slot order with their dispatch identifiers, the events as a
// dispatch interface, the enumerations and the classes. An optional
// argument without a default is a VARIANT (a VARIANT* by reference): only a
// variant can arrive "missing", which the members tell apart from any
// value. The collection of the automation runtime is an IDispatch, its
// enumerator an IUnknown.
//
// The C++ part: for every dual interface a class implementing its table of
// operations, each operation packing its arguments into variants and
// handing them to the object's late-bound member (DualBase::Call in
// com_object.h), so that both ways of calling run the same code.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "api/type_library.h"

namespace {

using namespace orncal::api;

std::string Uuid(const Guid& g) {
  std::string text = g.ToString();
  return text.substr(1, text.size() - 2);
}

bool MissingAllowed(const ArgInfo& a) {
  return a.Optional() && a.default_value.kind == DefaultValue::Kind::kNone;
}

// The type in the interface definition.
std::string IdlType(const TypeRef& t) {
  switch (t.kind) {
    case TypeKind::kVoid:
      return "void";
    case TypeKind::kBool:
      return "VARIANT_BOOL";
    case TypeKind::kInt16:
      return "short";
    case TypeKind::kInt32:
      return "long";
    case TypeKind::kDate:
      return "DATE";
    case TypeKind::kString:
      return "BSTR";
    case TypeKind::kVariant:
      return "VARIANT";
    case TypeKind::kObject:
      if (t.name == "Collection") return "IDispatch*";
      if (t.name == "Enumerator") return "IUnknown*";
      return std::string(t.name) + "*";
    case TypeKind::kStringArray:
      return "SAFEARRAY(BSTR)";
    case TypeKind::kEnum:
      return std::string(t.name);
  }
  return "VARIANT";
}

// The same type as the header widl writes names it.
std::string CppType(const TypeRef& t) {
  switch (t.kind) {
    case TypeKind::kInt32:
      return "LONG";
    case TypeKind::kStringArray:
      return "SAFEARRAY*";
    case TypeKind::kObject:
      if (t.name == "Collection" || t.name == "Enumerator") return "::" + IdlType(t);
      return "Iface" + std::string(t.name) + "*";
    case TypeKind::kEnum:
      return "LONG";  // an enumeration is 32 bits in a call
    default:
      return IdlType(t);
  }
}

const char* KindName(TypeKind k) {
  switch (k) {
    case TypeKind::kVoid:
      return "kVoid";
    case TypeKind::kBool:
      return "kBool";
    case TypeKind::kInt16:
      return "kInt16";
    case TypeKind::kInt32:
      return "kInt32";
    case TypeKind::kDate:
      return "kDate";
    case TypeKind::kString:
      return "kString";
    case TypeKind::kVariant:
      return "kVariant";
    case TypeKind::kObject:
      return "kObject";
    case TypeKind::kStringArray:
      return "kStringArray";
    case TypeKind::kEnum:
      return "kEnum";
  }
  return "kVariant";
}

bool HasDefault(const ArgInfo& a) { return a.default_value.kind != DefaultValue::Kind::kNone; }

// widl writes defaults of integer types only, and none but 0 behind a
// pointer: such an argument is a VARIANT too (with its default where it can
// be written), and the late-bound member applies the default when it
// arrives missing.
bool DefaultWritable(const ArgInfo& a) {
  return HasDefault(a) && !(a.ByRef() && a.default_value.value != 0);
}
TypeRef ArgType(const ArgInfo& a) {
  const bool as_variant = MissingAllowed(a) || (HasDefault(a) && a.type.kind == TypeKind::kDate) ||
                          (HasDefault(a) && !DefaultWritable(a));
  return as_variant ? TypeRef{TypeKind::kVariant} : a.type;
}

std::string IdlArg(const ArgInfo& a) {
  std::string attributes = a.ByRef() ? "in, out" : "in";
  if (a.Optional()) attributes += ", optional";
  if (DefaultWritable(a)) {
    attributes += ", defaultvalue(" + std::to_string(a.default_value.value) + ")";
  }
  return "[" + attributes + "] " + IdlType(ArgType(a)) + (a.ByRef() ? "*" : "") + " " +
         std::string(a.name);
}

// One accessor: the attribute ("propget", ...), the C++ prefix and the
// invocation flag.
struct Accessor {
  std::string_view attribute;
  std::string_view prefix;
  std::string_view invoke;
};
constexpr Accessor kMethodAccessor{"", "", "kInvokeMethod"};
constexpr Accessor kGetAccessor{"propget", "get_", "kInvokePropertyGet"};
constexpr Accessor kLetAccessor{"propput", "put_", "kInvokePropertyLet"};
constexpr Accessor kSetAccessor{"propputref", "putref_", "kInvokePropertySet"};

std::vector<Accessor> AccessorsOf(const MemberInfo& m) {
  switch (m.access) {
    case Access::kMethod:
      return {kMethodAccessor};
    case Access::kGet:
      return {kGetAccessor};
    case Access::kGetLet:
      return {kGetAccessor, kLetAccessor};
    case Access::kGetSet:
      return {kGetAccessor, kSetAccessor};
    case Access::kSetGet:
      return {kSetAccessor, kGetAccessor};
  }
  return {};
}

bool Returns(const MemberInfo& m, const Accessor& a) {
  return a.invoke == kGetAccessor.invoke ||
         (a.invoke == kMethodAccessor.invoke && m.type.kind != TypeKind::kVoid);
}
bool TakesValue(const Accessor& a) {
  return a.invoke == kLetAccessor.invoke || a.invoke == kSetAccessor.invoke;
}

void WriteIdlMember(std::ostream& out, const MemberInfo& m) {
  for (const Accessor& a : AccessorsOf(m)) {
    out << "    [id(" << m.dispid << ")" << (a.attribute.empty() ? "" : ", ") << a.attribute
        << "] HRESULT " << m.name << "(";
    bool first = true;
    auto next = [&] {
      if (!first) out << ", ";
      first = false;
    };
    for (const ArgInfo& arg : m.args) {
      next();
      out << IdlArg(arg);
    }
    if (TakesValue(a)) {
      next();
      out << "[in] " << IdlType(m.type) << " value";
    } else if (Returns(m, a)) {
      next();
      out << "[out, retval] " << IdlType(m.type) << "* result";
    }
    out << ");\n";
  }
}

void WriteIdl(std::ostream& out, const LibraryInfo& lib) {
  out << "// Generated from the library's description of its automation surface.\n"
         "// Do not edit.\n"
         "import \"oaidl.idl\";\n"
         "import \"ocidl.idl\";\n\n"
      << "[uuid(" << Uuid(lib.libid) << "), version(" << lib.major_version << "."
      << lib.minor_version << "), lcid(0x" << std::hex << lib.lcid << std::dec << ")]\n"
      << "library " << lib.name << " {\n"
      << "  importlib(\"stdole2.tlb\");\n\n";
  for (const InterfaceInfo& i : lib.interfaces) {
    if (i.kind == InterfaceKind::kDual) out << "  interface " << i.name << ";\n";
  }
  out << "\n";
  for (const EnumInfo& e : lib.enums) {
    out << "  typedef enum " << e.name << " {\n";
    for (const EnumValue& v : e.values) {
      out << "    " << v.name << " = " << v.value << ",\n";
    }
    out << "  } " << e.name << ";\n\n";
  }
  for (const InterfaceInfo& i : lib.interfaces) {
    if (i.kind == InterfaceKind::kDual) {
      out << "  [object, uuid(" << Uuid(i.iid) << "), dual, oleautomation, nonextensible, hidden]\n"
          << "  interface " << i.name << " : IDispatch {\n";
      for (const MemberInfo& m : i.members)
        WriteIdlMember(out, m);
      out << "  };\n\n";
    } else if (i.kind == InterfaceKind::kEvents) {
      out << "  [uuid(" << Uuid(i.iid) << "), hidden]\n"
          << "  dispinterface " << i.name << " {\n    properties:\n    methods:\n";
      for (const MemberInfo& m : i.members) {
        out << "      [id(" << m.dispid << ")] void " << m.name << "();\n";
      }
      out << "  };\n\n";
    }
  }
  // The classes come last: their names would otherwise be taken for types
  // where members and arguments bear the same names.
  for (const ClassInfo& c : lib.classes) {
    out << "  [uuid(" << Uuid(c.clsid) << ")" << (c.creatable ? "" : ", noncreatable")
        << (c.application_object ? ", appobject" : "") << "]\n"
        << "  coclass " << c.name << " {\n"
        << "    [default] interface " << c.default_interface << ";\n";
    if (!c.also_implements.empty()) out << "    interface " << c.also_implements << ";\n";
    if (!c.source_interface.empty()) {
      out << "    [default, source] dispinterface " << c.source_interface << ";\n";
    }
    out << "  };\n\n";
  }
  out << "}\n";
}

// The C++ name of an operation: a member named like an operation of
// IUnknown or IDispatch (Calendar.Release) gets a trailing underscore; the
// table of operations goes by slot, not by name.
std::string CppName(const MemberInfo& m, const Accessor& a) {
  std::string name = std::string(a.prefix) + std::string(m.name);
  for (std::string_view taken : {"QueryInterface", "AddRef", "Release", "GetTypeInfoCount",
                                 "GetTypeInfo", "GetIDsOfNames", "Invoke"}) {
    if (name == taken) name += '_';
  }
  return name;
}

std::string CppParams(const MemberInfo& m, const Accessor& a) {
  std::vector<std::string> params;
  for (size_t i = 0; i < m.args.size(); ++i) {
    params.push_back(CppType(ArgType(m.args[i])) + (m.args[i].ByRef() ? "*" : "") + " a" +
                     std::to_string(i));
  }
  if (TakesValue(a)) params.push_back(CppType(m.type) + " value");
  if (Returns(m, a)) params.push_back(CppType(m.type) + "* result");
  std::string joined;
  for (size_t i = 0; i < params.size(); ++i)
    joined += (i ? ", " : "") + params[i];
  return joined;
}

void WriteCppDeclaration(std::ostream& out, const MemberInfo& m) {
  for (const Accessor& a : AccessorsOf(m)) {
    out << "  virtual HRESULT STDMETHODCALLTYPE " << CppName(m, a) << "(" << CppParams(m, a)
        << ") = 0;\n";
  }
}

void WriteCppMember(std::ostream& out, const MemberInfo& m) {
  for (const Accessor& a : AccessorsOf(m)) {
    out << "  HRESULT STDMETHODCALLTYPE " << CppName(m, a) << "(" << CppParams(m, a)
        << ") override {\n";
    const size_t count = m.args.size() + (TakesValue(a) ? 1 : 0);
    out << "    return Guard([&] {\n";
    if (count) {
      out << "      Variant v[" << count << "] = {";
      for (size_t i = 0; i < m.args.size(); ++i) {
        const ArgInfo& arg = m.args[i];
        out << (i ? ", " : "") << (arg.ByRef() ? "InRef" : "In")
            << "<TypeKind::" << KindName(ArgType(arg).kind) << ">(a" << i << ")";
      }
      if (TakesValue(a)) {
        out << (m.args.empty() ? "" : ", ") << "In<TypeKind::" << KindName(m.type.kind)
            << ">(value)";
      }
      out << "};\n";
    }
    out << "      " << (Returns(m, a) ? "Variant r = " : "") << "Call(" << m.dispid
        << ", api::" << a.invoke << ", " << (count ? "v" : "{}") << ");\n";
    for (size_t i = 0; i < m.args.size(); ++i) {
      const ArgInfo& arg = m.args[i];
      if (arg.ByRef()) {
        out << "      Back<TypeKind::" << KindName(ArgType(arg).kind) << ">(v[" << i << "], a" << i
            << ");\n";
      }
    }
    if (Returns(m, a)) out << "      Out<TypeKind::" << KindName(m.type.kind) << ">(r, result);\n";
    out << "    });\n  }\n";
  }
}

std::string UuidDecl(const std::string& type, const Guid& g) {
  char text[160];
  std::snprintf(text, sizeof text,
                "__CRT_UUID_DECL(%s, 0x%08x, 0x%04x, 0x%04x, 0x%02x, 0x%02x, 0x%02x, 0x%02x, "
                "0x%02x, 0x%02x, 0x%02x, 0x%02x)\n",
                type.c_str(), static_cast<unsigned>(g.data1), g.data2, g.data3, g.data4[0],
                g.data4[1], g.data4[2], g.data4[3], g.data4[4], g.data4[5], g.data4[6], g.data4[7]);
  return text;
}

// Included at global scope: the interfaces (their operations in slot
// order), their identifiers, then the classes implementing them.
void WriteCpp(std::ostream& out, const LibraryInfo& lib) {
  out << "// Generated from the library's description of its automation surface.\n"
         "// Do not edit.\n\n"
         "namespace orncal::com {\n\n";
  for (const InterfaceInfo& i : lib.interfaces) {
    if (i.kind == InterfaceKind::kDual) out << "struct Iface" << i.name << ";\n";
  }
  out << "\n";
  for (const InterfaceInfo& i : lib.interfaces) {
    if (i.kind != InterfaceKind::kDual) continue;
    out << "struct Iface" << i.name << " : public ::IDispatch {\n";
    for (const MemberInfo& m : i.members)
      WriteCppDeclaration(out, m);
    out << "};\n\n";
  }
  out << "}  // namespace orncal::com\n\n";
  for (const InterfaceInfo& i : lib.interfaces) {
    if (i.kind == InterfaceKind::kDual) {
      out << UuidDecl("orncal::com::Iface" + std::string(i.name), i.iid);
    }
  }
  out << "\nnamespace orncal::com {\n\n";
  for (const InterfaceInfo& i : lib.interfaces) {
    if (i.kind != InterfaceKind::kDual) continue;
    out << "class Dual" << i.name << " final : public Iface" << i.name << ", public DualBase {\n"
        << " public:\n"
        << "  using DualBase::DualBase;\n"
        << "  ORNCAL_DUAL_DISPATCH_MEMBERS\n";
    for (const MemberInfo& m : i.members)
      WriteCppMember(out, m);
    out << "};\n\n";
  }
  out << "IDispatch* NewDualInterface(std::string_view name, ComObject& owner) {\n";
  for (const InterfaceInfo& i : lib.interfaces) {
    if (i.kind != InterfaceKind::kDual) continue;
    out << "  if (name == \"" << i.name << "\") return new Dual" << i.name
        << "(owner, __uuidof(Iface" << i.name << "));\n";
  }
  out << "  return nullptr;\n}\n\n}  // namespace orncal::com\n";
}

bool WriteFile(const char* path, const std::string& text) {
  // Left alone when it holds the same text, so that nothing is built again.
  std::ifstream old(path, std::ios::binary);
  std::stringstream before;
  before << old.rdbuf();
  if (old && before.str() == text) return true;
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
  return static_cast<bool>(out);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: typelib_generator <out.idl> <out.inc>\n";
    return 2;
  }
  std::ostringstream idl, cpp;
  WriteIdl(idl, TypeLibrary());
  WriteCpp(cpp, TypeLibrary());
  if (!WriteFile(argv[1], idl.str()) || !WriteFile(argv[2], cpp.str())) {
    std::cerr << "typelib_generator: cannot write the output\n";
    return 1;
  }
  return 0;
}
