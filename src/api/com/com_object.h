// The automation objects of the in-process server. Every object of the
// late-bound layer (api/dispatch.h) that reaches a client is one ComObject:
// its IDispatch runs the late-bound member itself (names, named and
// optional arguments, defaults, by-reference results), and the tables of
// operations of its dual interfaces (generated, dual_interfaces.inc) pack
// their arguments into the same call. Nothing of the calendar lives here:
// this layer converts values and errors and keeps COM's rules of identity
// and reference counting.
#pragma once

#include <windows.h>
// windows.h first: the OLE headers need its types.
#include <ocidl.h>
#include <oleauto.h>
#include <olectl.h>

#include <atomic>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "api/dispatch.h"
#include "orncalendar/error.h"

namespace orncal::com {

using api::DispatchPtr;
using api::DispId;
using api::TypeKind;
using api::Variant;

// ------------------------------------------------------------ the module

// The server's own DLL (set when it is loaded).
HINSTANCE Module();
void SetModule(HINSTANCE module);
// The full path of the server's DLL.
std::wstring ModulePath();
// The type library embedded in the DLL, loaded at first use; nullptr when
// it cannot be loaded.
ITypeLib* TypeLib();
// The objects alive and the locks of the class factories, for
// DllCanUnloadNow.
std::atomic<long>& LiveObjects();

// ------------------------------------------------------------- conversions

std::wstring Wide(std::string_view utf8);
std::string Utf8(const wchar_t* wide, size_t length);
std::string Utf8(BSTR text);
BSTR NewBstr(std::string_view utf8);

// A client's value as a late-bound value: by-reference variants are read
// through, VT_ERROR with DISP_E_PARAMNOTFOUND is a missing argument, COM
// objects of this server are their late-bound objects and other objects are
// wrapped so that they can be called back. Error 13 for a value no member
// can take.
Variant FromVariant(const VARIANT& v);
// A late-bound value as a new VARIANT (the caller owns it). An array of
// strings becomes an array of variants holding strings: the script engines
// index no other arrays.
void ToVariant(const Variant& v, VARIANT* out);
// A new one-dimensional array of BSTRs, from 0.
SAFEARRAY* NewBstrArray(const Variant::StringArray& strings);

// The late-bound object of a COM object: this server's own objects give the
// object they wrap, others a wrapper calling them through IDispatch.
DispatchPtr FromUnknown(IUnknown* object);
// A new reference to the COM object of a late-bound object (nullptr for
// none).
IUnknown* ToUnknown(const DispatchPtr& object);

// The failure an exception stands for, with its error information set for
// the interface `iid`: an orncal::Error is 0x800A0000 + its number (so that
// scripts see the number in Err.Number), anything else error 51.
HRESULT ReportError(REFIID iid);

// ----------------------------------------------------------- the objects

class ComObject final : public IDispatch,
                        public ISupportErrorInfo,
                        public IProvideClassInfo2,
                        public IConnectionPointContainer {
 public:
  // The COM object of a late-bound object: the same one for as long as a
  // client holds it, with a new reference.
  static ComObject* For(const DispatchPtr& object);
  const DispatchPtr& Object() const { return object_; }

  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;
  // IDispatch
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** info) override;
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                                          DISPID* ids) override;
  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS* params,
                                   VARIANT* result, EXCEPINFO* exception,
                                   UINT* bad_argument) override;
  // ISupportErrorInfo
  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) override;
  // IProvideClassInfo2
  HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** info) override;
  HRESULT STDMETHODCALLTYPE GetGUID(DWORD kind, GUID* guid) override;
  // IConnectionPointContainer (for objects with events)
  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** out) override;
  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** out) override;

  // The identifier of the interface of its events (GUID_NULL for none).
  GUID SourceIid() const;

 private:
  explicit ComObject(DispatchPtr object);
  ~ComObject();
  const api::ClassInfo* Class() const;

  std::atomic<ULONG> references_{1};
  DispatchPtr object_;
  // The tables of operations of its dual interfaces (the one it is handled
  // through, then its default one), each with the identifier it answers.
  struct Dual {
    IID iid;
    IDispatch* table;
  };
  Dual duals_[2] = {};
};

// What every table of operations of a dual interface shares: IUnknown and
// IDispatch go to the object, and each operation is a late-bound call.
class DualBase {
 public:
  DualBase(ComObject& owner, REFIID iid) : owner_(owner), iid_(iid) {}
  virtual ~DualBase() = default;

 protected:
  template <class F>
  HRESULT Guard(F&& call) {
    try {
      call();
      return S_OK;
    } catch (...) {
      return ReportError(iid_);
    }
  }
  Variant Call(DispId id, uint16_t kind, std::span<Variant> args) {
    return owner_.Object()->Invoke(id, kind, args);
  }

  // An argument of a declared type as a late-bound value.
  template <TypeKind K, class T>
  static Variant In(const T& v) {
    if constexpr (K == TypeKind::kBool) {
      return Variant(v != 0);
    } else if constexpr (K == TypeKind::kInt16) {
      return Variant(static_cast<int16_t>(v));
    } else if constexpr (K == TypeKind::kInt32 || K == TypeKind::kEnum) {
      return Variant(static_cast<int32_t>(v));
    } else if constexpr (K == TypeKind::kDate) {
      return Variant::FromDate(v);
    } else if constexpr (K == TypeKind::kString) {
      return Variant(Utf8(v));
    } else if constexpr (K == TypeKind::kVariant) {
      return FromVariant(v);
    } else if constexpr (K == TypeKind::kObject) {
      return Variant(FromUnknown(v));
    } else {
      static_assert(K == TypeKind::kStringArray);
      VARIANT array;
      V_VT(&array) = VT_ARRAY | VT_BSTR;
      V_ARRAY(&array) = v;
      return FromVariant(array);
    }
  }
  template <TypeKind K, class T>
  static Variant InRef(T* v) {
    return v ? In<K>(*v) : Variant::Missing();
  }

  // A result of a declared type; `out` receives a new value.
  template <TypeKind K, class T>
  static void Out(Variant& r, T* out) {
    if (!out) return;
    if constexpr (K == TypeKind::kBool) {
      *out = r.ToBool() ? VARIANT_TRUE : VARIANT_FALSE;
    } else if constexpr (K == TypeKind::kInt16) {
      *out = r.ToInt16();
    } else if constexpr (K == TypeKind::kInt32) {
      *out = r.ToInt32();
    } else if constexpr (K == TypeKind::kEnum) {
      *out = static_cast<T>(r.ToInt32());
    } else if constexpr (K == TypeKind::kDate) {
      *out = r.ToDate();
    } else if constexpr (K == TypeKind::kString) {
      *out = NewBstr(r.ToString());
    } else if constexpr (K == TypeKind::kVariant) {
      ToVariant(r, out);
    } else if constexpr (K == TypeKind::kObject) {
      using I = std::remove_pointer_t<T>;
      *out = nullptr;
      if (IUnknown* unknown = ToUnknown(r.ToObject())) {
        const HRESULT hr = unknown->QueryInterface(__uuidof(I), reinterpret_cast<void**>(out));
        unknown->Release();
        if (FAILED(hr)) throw Error(ErrorNumber::kTypeMismatch);
      }
    } else {
      static_assert(K == TypeKind::kStringArray);
      *out = NewBstrArray(r.ToStringArray());
    }
  }

  // A by-reference argument handed back: the old value is freed first. One
  // left out (or passed as nothing) keeps what it holds.
  template <TypeKind K, class T>
  static void Back(Variant& v, T* out) {
    if (!out || v.IsMissing()) return;
    if constexpr (K == TypeKind::kString) {
      BSTR old = *out;
      Out<K>(v, out);
      SysFreeString(old);
    } else if constexpr (K == TypeKind::kVariant) {
      VARIANT fresh;
      Out<K>(v, &fresh);
      VariantClear(out);
      *out = fresh;
    } else if constexpr (K == TypeKind::kObject) {
      auto old = *out;
      Out<K>(v, out);
      if (old) old->Release();
    } else if constexpr (K == TypeKind::kStringArray) {
      SAFEARRAY* old = *out;
      Out<K>(v, out);
      if (old) SafeArrayDestroy(old);
    } else {
      Out<K>(v, out);
    }
  }

  ComObject& owner_;
  IID iid_;
};

// IUnknown and IDispatch of a table of operations: those of its object.
#define ORNCAL_DUAL_DISPATCH_MEMBERS                                                          \
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {                 \
    return owner_.QueryInterface(iid, out);                                                   \
  }                                                                                           \
  ULONG STDMETHODCALLTYPE AddRef() override { return owner_.AddRef(); }                       \
  ULONG STDMETHODCALLTYPE Release() override { return owner_.Release(); }                     \
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {                          \
    return owner_.GetTypeInfoCount(count);                                                    \
  }                                                                                           \
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID lcid, ITypeInfo** info) override {   \
    return owner_.GetTypeInfo(index, lcid, info);                                             \
  }                                                                                           \
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID lcid, \
                                          DISPID* ids) override {                             \
    return owner_.GetIDsOfNames(iid, names, count, lcid, ids);                                \
  }                                                                                           \
  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID iid, LCID lcid, WORD flags,          \
                                   DISPPARAMS* params, VARIANT* result, EXCEPINFO* exception, \
                                   UINT* bad_argument) override {                             \
    return owner_.Invoke(member, iid, lcid, flags, params, result, exception, bad_argument);  \
  }

// The table of operations of a dual interface by its name (nullptr for
// none); it lives as long as its owner, which deletes it.
IDispatch* NewDualInterface(std::string_view name, ComObject& owner);

}  // namespace orncal::com
