#include "api/com/com_object.h"

#include <map>
#include <mutex>
#include <new>
#include <vector>

#include "api/com/notification_pump.h"
#include "api/type_library.h"

namespace orncal::com {
namespace {

HINSTANCE g_module = nullptr;

// Each late-bound object's COM object while a client holds it, so that a
// client is handed one identity however often it asks.
std::mutex& ObjectsMutex() {
  static std::mutex mutex;
  return mutex;
}
std::map<const void*, ComObject*>& Objects() {
  static std::map<const void*, ComObject*> objects;
  return objects;
}

GUID ToGuid(const api::Guid& g) {
  GUID out;
  out.Data1 = g.data1;
  out.Data2 = g.data2;
  out.Data3 = g.data3;
  for (int i = 0; i < 8; ++i)
    out.Data4[i] = g.data4[i];
  return out;
}

// IUnknown for a small object that offers one interface besides it,
// deleted with its last reference.
template <class Interface, const IID& kIid>
class OneInterface : public Interface {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    if (iid == IID_IUnknown || iid == kIid) {
      *out = static_cast<Interface*>(this);
      this->AddRef();
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 protected:
  virtual ~OneInterface() = default;

 private:
  std::atomic<ULONG> references_{1};
};

// The enumerator NewEnum hands out, over a late-bound enumerator.
class ComEnum final : public OneInterface<IEnumVARIANT, IID_IEnumVARIANT> {
 public:
  explicit ComEnum(DispatchPtr source) : source_(std::move(source)) { ++LiveObjects(); }
  ~ComEnum() { --LiveObjects(); }

  HRESULT STDMETHODCALLTYPE Next(ULONG count, VARIANT* items, ULONG* fetched) override {
    if (!items && count) return E_POINTER;
    ULONG n = 0;
    try {
      for (; n < count; ++n) {
        Variant entry;
        if (!Walker().Next(entry)) break;
        ToVariant(entry, &items[n]);
      }
    } catch (...) {
      for (ULONG i = 0; i < n; ++i)
        VariantClear(&items[i]);
      if (fetched) *fetched = 0;
      return ReportError(IID_IEnumVARIANT);
    }
    if (fetched) *fetched = n;
    return n == count ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
    try {
      for (ULONG n = 0; n < count; ++n) {
        Variant entry;
        if (!Walker().Next(entry)) return S_FALSE;
      }
      return S_OK;
    } catch (...) {
      return ReportError(IID_IEnumVARIANT);
    }
  }
  HRESULT STDMETHODCALLTYPE Reset() override {
    Walker().Reset();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** out) override {
    if (out) *out = nullptr;
    return E_NOTIMPL;
  }

 private:
  api::Enumerator& Walker() { return static_cast<api::Enumerator&>(*source_); }
  DispatchPtr source_;
};

// An object of the client (an event sink, say) called through its
// IDispatch by positional arguments.
class ClientDispatch final : public api::Dispatch {
 public:
  explicit ClientDispatch(IDispatch* object) : object_(object) { object_->AddRef(); }
  ~ClientDispatch() override { object_->Release(); }
  ClientDispatch(const ClientDispatch&) = delete;
  ClientDispatch& operator=(const ClientDispatch&) = delete;

  IDispatch* Object() const { return object_; }
  const void* Identity() const override { return object_; }

  DispId GetIDOfName(std::string_view name) const override {
    std::wstring wide = Wide(name);
    LPOLESTR names[] = {wide.data()};
    DISPID id = DISPID_UNKNOWN;
    if (FAILED(object_->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id))) {
      return api::kDispIdUnknown;
    }
    return id;
  }
  int32_t GetArgPosition(DispId, std::string_view) const override { return -1; }

  Variant Invoke(DispId member, uint16_t kind, std::span<Variant> args,
                 std::span<api::NamedArgument> named) override {
    if (!named.empty()) throw Error(ErrorNumber::kNamedArgumentNotFound);
    std::vector<VARIANT> values(args.size());
    for (size_t i = 0; i < args.size(); ++i)
      ToVariant(args[i], &values[args.size() - 1 - i]);
    DISPPARAMS params{values.data(), nullptr, static_cast<UINT>(values.size()), 0};
    VARIANT result;
    VariantInit(&result);
    EXCEPINFO exception{};
    const HRESULT hr = object_->Invoke(member, IID_NULL, LOCALE_USER_DEFAULT, kind, &params,
                                       &result, &exception, nullptr);
    for (VARIANT& v : values)
      VariantClear(&v);
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrDescription);
    SysFreeString(exception.bstrHelpFile);
    if (FAILED(hr)) {
      const HRESULT code = hr == DISP_E_EXCEPTION ? exception.scode : hr;
      VariantClear(&result);
      throw Error(HRESULT_FACILITY(code) == FACILITY_CONTROL
                      ? static_cast<ErrorNumber>(HRESULT_CODE(code))
                      : ErrorNumber::kInternalError);
    }
    Variant out = FromVariant(result);
    VariantClear(&result);
    return out;
  }

 private:
  IDispatch* object_;
};

// The connection point of an object's events.
class ConnectionPoint final : public OneInterface<IConnectionPoint, IID_IConnectionPoint> {
 public:
  explicit ConnectionPoint(ComObject* owner) : owner_(owner) {
    owner_->AddRef();
    ++LiveObjects();
  }
  ~ConnectionPoint() {
    owner_->Release();
    --LiveObjects();
  }

  HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override {
    if (!iid) return E_POINTER;
    *iid = owner_->SourceIid();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** out) override {
    if (!out) return E_POINTER;
    return owner_->QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(out));
  }
  HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override {
    if (!cookie) return E_POINTER;
    *cookie = 0;
    if (!sink) return E_POINTER;
    // A sink implements the events' interface, which is a dispatch
    // interface: it is called through IDispatch in either case.
    IDispatch* events = nullptr;
    const IID iid = owner_->SourceIid();
    if (FAILED(sink->QueryInterface(iid, reinterpret_cast<void**>(&events))) &&
        FAILED(sink->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&events)))) {
      return CONNECT_E_CANNOTCONNECT;
    }
    try {
      auto client = std::make_shared<ClientDispatch>(events);
      events->Release();
      *cookie = static_cast<DWORD>(owner_->Object()->Events()->Advise(std::move(client)));
      // From now on the other processes' changes are wanted here too.
      StartNotificationPump();
      return S_OK;
    } catch (...) {
      return CONNECT_E_CANNOTCONNECT;
    }
  }
  HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override {
    try {
      owner_->Object()->Events()->Unadvise(cookie);
      return S_OK;
    } catch (...) {
      return CONNECT_E_NOCONNECTION;
    }
  }
  HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** out) override {
    if (out) *out = nullptr;
    return E_NOTIMPL;
  }

 private:
  ComObject* owner_;
};

// A new one-dimensional array from 0 with an element of `type` per value,
// each set by fill(value, &element); destroyed again when fill throws.
template <class T, class Values, class F>
SAFEARRAY* NewArrayOf(VARTYPE type, const Values& values, F&& fill) {
  SAFEARRAY* array = SafeArrayCreateVector(type, 0, static_cast<ULONG>(values.size()));
  if (!array) throw std::bad_alloc();
  T* data = nullptr;
  SafeArrayAccessData(array, reinterpret_cast<void**>(&data));
  try {
    for (size_t i = 0; i < values.size(); ++i)
      fill(values[i], &data[i]);
  } catch (...) {
    SafeArrayUnaccessData(array);
    SafeArrayDestroy(array);
    throw;
  }
  SafeArrayUnaccessData(array);
  return array;
}

// The elements of a one-dimensional array.
template <class T, class F>
void ForEachElement(SAFEARRAY* array, F&& each) {
  if (!array || SafeArrayGetDim(array) != 1) throw Error(ErrorNumber::kTypeMismatch);
  LONG low = 0, high = -1;
  SafeArrayGetLBound(array, 1, &low);
  SafeArrayGetUBound(array, 1, &high);
  T* data = nullptr;
  if (FAILED(SafeArrayAccessData(array, reinterpret_cast<void**>(&data)))) {
    throw Error(ErrorNumber::kTypeMismatch);
  }
  try {
    for (LONG i = 0; i <= high - low; ++i)
      each(data[i]);
  } catch (...) {
    SafeArrayUnaccessData(array);
    throw;
  }
  SafeArrayUnaccessData(array);
}

}  // namespace

HINSTANCE Module() { return g_module; }
void SetModule(HINSTANCE module) { g_module = module; }

std::wstring ModulePath() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD n = GetModuleFileNameW(g_module, path.data(), static_cast<DWORD>(path.size()));
    if (n < path.size()) {
      path.resize(n);
      return path;
    }
    path.resize(path.size() * 2);
  }
}

ITypeLib* TypeLib() {
  static ITypeLib* library = [] {
    ITypeLib* loaded = nullptr;
    if (FAILED(LoadTypeLibEx(ModulePath().c_str(), REGKIND_NONE, &loaded))) return loaded = nullptr;
    return loaded;
  }();
  return library;
}

std::atomic<long>& LiveObjects() {
  static std::atomic<long> count{0};
  return count;
}

std::wstring Wide(std::string_view utf8) {
  if (utf8.empty()) return {};
  const int n =
      MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
  std::wstring out(n, L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), out.data(), n);
  return out;
}

std::string Utf8(const wchar_t* wide, size_t length) {
  if (!wide || length == 0) return {};
  const int n =
      WideCharToMultiByte(CP_UTF8, 0, wide, static_cast<int>(length), nullptr, 0, nullptr, nullptr);
  std::string out(n, '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide, static_cast<int>(length), out.data(), n, nullptr, nullptr);
  return out;
}

std::string Utf8(BSTR text) { return Utf8(text, text ? SysStringLen(text) : 0); }

BSTR NewBstr(std::string_view utf8) {
  const std::wstring wide = Wide(utf8);
  BSTR out = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
  if (!out) throw std::bad_alloc();
  return out;
}

Variant FromVariant(const VARIANT& v) {
  const VARTYPE type = V_VT(&v);
  if (type == (VT_BYREF | VT_VARIANT)) {
    if (!V_VARIANTREF(&v)) return Variant::Missing();
    return FromVariant(*V_VARIANTREF(&v));
  }
  if (type & VT_BYREF) {
    VARIANT plain;
    VariantInit(&plain);
    if (FAILED(VariantCopyInd(&plain, const_cast<VARIANT*>(&v))))
      throw Error(ErrorNumber::kTypeMismatch);
    try {
      Variant out = FromVariant(plain);
      VariantClear(&plain);
      return out;
    } catch (...) {
      VariantClear(&plain);
      throw;
    }
  }
  switch (type) {
    case VT_EMPTY:
    case VT_NULL:
      return Variant();
    case VT_ERROR:
      if (V_ERROR(&v) == DISP_E_PARAMNOTFOUND) return Variant::Missing();
      throw Error(ErrorNumber::kTypeMismatch);
    case VT_BOOL:
      return Variant(V_BOOL(&v) != VARIANT_FALSE);
    case VT_I1:
      return Variant(static_cast<int16_t>(V_I1(&v)));
    case VT_UI1:
      return Variant(static_cast<int16_t>(V_UI1(&v)));
    case VT_I2:
      return Variant(static_cast<int16_t>(V_I2(&v)));
    case VT_UI2:
      return Variant(static_cast<int32_t>(V_UI2(&v)));
    case VT_I4:
    case VT_INT:
      return Variant(static_cast<int32_t>(V_I4(&v)));
    case VT_DATE:
      return Variant::FromDate(V_DATE(&v));
    case VT_BSTR:
      return Variant(Utf8(V_BSTR(&v)));
    case VT_DISPATCH:
      return Variant(FromUnknown(V_DISPATCH(&v)));
    case VT_UNKNOWN:
      return Variant(FromUnknown(V_UNKNOWN(&v)));
    case VT_ARRAY | VT_BSTR: {
      Variant::StringArray strings;
      ForEachElement<BSTR>(V_ARRAY(&v), [&](BSTR s) { strings.push_back(Utf8(s)); });
      return Variant(std::move(strings));
    }
    case VT_ARRAY | VT_VARIANT: {
      Variant::VariantArray values;
      ForEachElement<VARIANT>(V_ARRAY(&v),
                              [&](const VARIANT& e) { values.push_back(FromVariant(e)); });
      return Variant(std::move(values));
    }
    default: {
      // Other numbers (Single, Double, Currency, Decimal, 64-bit) as Double.
      VARIANT number;
      VariantInit(&number);
      if (FAILED(VariantChangeType(&number, const_cast<VARIANT*>(&v), 0, VT_R8)))
        throw Error(ErrorNumber::kTypeMismatch);
      return Variant(V_R8(&number));
    }
  }
}

void ToVariant(const Variant& v, VARIANT* out) {
  VariantInit(out);
  switch (v.Type()) {
    case api::VarType::kEmpty:
      return;
    case api::VarType::kMissing:
      V_VT(out) = VT_ERROR;
      V_ERROR(out) = DISP_E_PARAMNOTFOUND;
      return;
    case api::VarType::kBool:
      V_VT(out) = VT_BOOL;
      V_BOOL(out) = v.Bool() ? VARIANT_TRUE : VARIANT_FALSE;
      return;
    case api::VarType::kInt16:
      V_VT(out) = VT_I2;
      V_I2(out) = v.Int16();
      return;
    case api::VarType::kInt32:
      V_VT(out) = VT_I4;
      V_I4(out) = v.Int32();
      return;
    case api::VarType::kDouble:
      V_VT(out) = VT_R8;
      V_R8(out) = v.Double();
      return;
    case api::VarType::kDate:
      V_VT(out) = VT_DATE;
      V_DATE(out) = v.DateValue();
      return;
    case api::VarType::kString:
      V_BSTR(out) = NewBstr(v.String());
      V_VT(out) = VT_BSTR;
      return;
    case api::VarType::kObject: {
      IUnknown* unknown = ToUnknown(v.Object());
      if (unknown && dynamic_cast<api::Enumerator*>(v.Object().get())) {
        V_VT(out) = VT_UNKNOWN;
        V_UNKNOWN(out) = unknown;
        return;
      }
      IDispatch* dispatch = nullptr;
      if (unknown) {
        unknown->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&dispatch));
        unknown->Release();
      }
      V_VT(out) = VT_DISPATCH;
      V_DISPATCH(out) = dispatch;
      return;
    }
    case api::VarType::kStringArray: {
      Variant::VariantArray values(v.Strings().begin(), v.Strings().end());
      ToVariant(Variant(std::move(values)), out);
      return;
    }
    case api::VarType::kVariantArray: {
      V_ARRAY(out) = NewArrayOf<VARIANT>(VT_VARIANT, v.Variants(), ToVariant);
      V_VT(out) = VT_ARRAY | VT_VARIANT;
      return;
    }
  }
}

SAFEARRAY* NewBstrArray(const Variant::StringArray& strings) {
  return NewArrayOf<BSTR>(VT_BSTR, strings,
                          [](const std::string& s, BSTR* element) { *element = NewBstr(s); });
}

// This server's objects answer this private interface with themselves.
static const GUID kIidThisServer = {
    0x5e0a61f2, 0x3b7c, 0x4d2e, {0x9a, 0x41, 0x6f, 0x0c, 0x8d, 0x2b, 0x73, 0x15}};

DispatchPtr FromUnknown(IUnknown* object) {
  if (!object) return nullptr;
  ComObject* ours = nullptr;
  if (SUCCEEDED(object->QueryInterface(kIidThisServer, reinterpret_cast<void**>(&ours)))) {
    DispatchPtr wrapped = ours->Object();
    ours->Release();
    return wrapped;
  }
  IDispatch* dispatch = nullptr;
  if (FAILED(object->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&dispatch)))) {
    throw Error(ErrorNumber::kTypeMismatch);
  }
  auto client = std::make_shared<ClientDispatch>(dispatch);
  dispatch->Release();
  return client;
}

IUnknown* ToUnknown(const DispatchPtr& object) {
  if (!object) return nullptr;
  if (auto* client = dynamic_cast<ClientDispatch*>(object.get())) {
    client->Object()->AddRef();
    return client->Object();
  }
  if (dynamic_cast<api::Enumerator*>(object.get())) {
    return static_cast<IEnumVARIANT*>(new ComEnum(object));
  }
  return static_cast<IDispatch*>(ComObject::For(object));
}

HRESULT ReportError(REFIID iid) {
  int32_t number = static_cast<int32_t>(ErrorNumber::kInternalError);
  std::string description;
  try {
    throw;
  } catch (const Error& e) {
    number = e.Number();
    description = e.Description();
  } catch (const std::bad_alloc&) {
    number = static_cast<int32_t>(ErrorNumber::kOutOfMemory);
    description = Error::StandardDescription(ErrorNumber::kOutOfMemory);
  } catch (const std::exception& e) {
    description = e.what();
  } catch (...) {
    description = Error::StandardDescription(ErrorNumber::kInternalError);
  }
  ICreateErrorInfo* create = nullptr;
  if (SUCCEEDED(CreateErrorInfo(&create))) {
    create->SetGUID(iid);
    create->SetSource(const_cast<LPOLESTR>(L"OrnCalendar"));
    std::wstring text = Wide(description);
    create->SetDescription(text.data());
    IErrorInfo* info = nullptr;
    if (SUCCEEDED(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)))) {
      SetErrorInfo(0, info);
      info->Release();
    }
    create->Release();
  }
  return MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, number & 0xFFFF);
}

// ------------------------------------------------------------- ComObject

ComObject* ComObject::For(const DispatchPtr& object) {
  std::lock_guard lock(ObjectsMutex());
  auto& objects = Objects();
  auto it = objects.find(object->Identity());
  if (it != objects.end()) {
    it->second->AddRef();
    return it->second;
  }
  auto* made = new ComObject(object);
  objects.emplace(object->Identity(), made);
  return made;
}

ComObject::ComObject(DispatchPtr object) : object_(std::move(object)) {
  ++LiveObjects();
  if (const api::ClassInfo* c = Class()) {
    size_t n = 0;
    for (std::string_view name : {c->also_implements, c->default_interface}) {
      const api::InterfaceInfo* i = api::FindInterface(name);
      if (!i || i->kind != api::InterfaceKind::kDual) continue;
      duals_[n++] = Dual{ToGuid(i->iid), NewDualInterface(name, *this)};
    }
  }
}

ComObject::~ComObject() {
  for (Dual& d : duals_)
    delete dynamic_cast<DualBase*>(d.table);
  --LiveObjects();
}

const api::ClassInfo* ComObject::Class() const {
  const api::ClassTable* table = object_->Table();
  return table ? &table->Class() : nullptr;
}

GUID ComObject::SourceIid() const {
  const api::ClassInfo* c = Class();
  const api::InterfaceInfo* i = c ? api::FindInterface(c->source_interface) : nullptr;
  return i ? ToGuid(i->iid) : GUID_NULL;
}

HRESULT ComObject::QueryInterface(REFIID iid, void** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (iid == IID_IUnknown || iid == IID_IDispatch) {
    *out = static_cast<IDispatch*>(this);
  } else if (iid == kIidThisServer) {
    *out = this;
  } else if (iid == IID_ISupportErrorInfo) {
    *out = static_cast<ISupportErrorInfo*>(this);
  } else if ((iid == IID_IProvideClassInfo || iid == IID_IProvideClassInfo2) && Class() &&
             api::FindClass(Class()->name)) {
    *out = static_cast<IProvideClassInfo2*>(this);
  } else if (iid == IID_IConnectionPointContainer && object_->Events()) {
    *out = static_cast<IConnectionPointContainer*>(this);
  } else {
    for (Dual& d : duals_) {
      if (d.table && iid == d.iid) *out = d.table;
    }
  }
  if (!*out) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}

ULONG ComObject::AddRef() { return ++references_; }

ULONG ComObject::Release() {
  // The count is read and the entry dropped under the lock, so that For()
  // never hands out an object that is going away.
  std::unique_lock lock(ObjectsMutex());
  const ULONG left = --references_;
  if (left == 0) {
    auto it = Objects().find(object_->Identity());
    if (it != Objects().end() && it->second == this) Objects().erase(it);
    lock.unlock();
    delete this;
  }
  return left;
}

HRESULT ComObject::GetTypeInfoCount(UINT* count) {
  if (!count) return E_POINTER;
  *count = (duals_[0].table && TypeLib()) ? 1 : 0;
  return S_OK;
}

HRESULT ComObject::GetTypeInfo(UINT index, LCID, ITypeInfo** info) {
  if (!info) return E_POINTER;
  *info = nullptr;
  if (index != 0) return DISP_E_BADINDEX;
  const api::ClassInfo* c = Class();
  const api::InterfaceInfo* i = c ? api::FindInterface(c->default_interface) : nullptr;
  if (!i || i->kind != api::InterfaceKind::kDual || !TypeLib()) return E_NOTIMPL;
  return TypeLib()->GetTypeInfoOfGuid(ToGuid(i->iid), info);
}

HRESULT ComObject::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
  if (!names || !ids) return E_POINTER;
  if (count == 0) return S_OK;
  try {
    HRESULT hr = S_OK;
    ids[0] = object_->GetIDOfName(Utf8(names[0], wcslen(names[0])));
    if (ids[0] == api::kDispIdUnknown) hr = DISP_E_UNKNOWNNAME;
    for (UINT i = 1; i < count; ++i) {
      const int32_t position =
          ids[0] == api::kDispIdUnknown
              ? -1
              : object_->GetArgPosition(ids[0], Utf8(names[i], wcslen(names[i])));
      ids[i] = position < 0 ? DISPID_UNKNOWN : position;
      if (position < 0) hr = DISP_E_UNKNOWNNAME;
    }
    return hr;
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}

HRESULT ComObject::Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS* params,
                          VARIANT* result, EXCEPINFO* exception, UINT* bad_argument) {
  if (result) VariantInit(result);
  if (bad_argument) *bad_argument = 0;
  if (!params || params->cNamedArgs > params->cArgs || (params->cArgs && !params->rgvarg) ||
      (params->cNamedArgs && !params->rgdispidNamedArgs)) {
    return E_INVALIDARG;
  }
  try {
    // rgvarg holds the named arguments first, then the positional ones from
    // the last to the first; the value of a property put is named
    // DISPID_PROPERTYPUT and goes after the positional ones.
    const UINT named = params->cNamedArgs;
    const UINT positional = params->cArgs - named;
    std::vector<Variant> args;
    std::vector<VARIANT*> sources;
    std::vector<api::NamedArgument> named_args;
    std::vector<VARIANT*> named_sources;
    for (UINT i = 0; i < positional; ++i) {
      VARIANT* source = &params->rgvarg[params->cArgs - 1 - i];
      args.push_back(FromVariant(*source));
      sources.push_back(source);
    }
    for (UINT i = 0; i < named; ++i) {
      if (params->rgdispidNamedArgs[i] == DISPID_PROPERTYPUT) {
        args.push_back(FromVariant(params->rgvarg[i]));
        sources.push_back(nullptr);
      } else {
        named_args.push_back({params->rgdispidNamedArgs[i], FromVariant(params->rgvarg[i])});
        named_sources.push_back(&params->rgvarg[i]);
      }
    }
    const std::vector<Variant> before = args;
    std::vector<Variant> named_before;
    for (const auto& n : named_args)
      named_before.push_back(n.value);

    Variant out = object_->Invoke(member, flags & 0xF, args, named_args);

    // What the member handed back goes into the caller's by-reference
    // variables.
    auto write_back = [](VARIANT* source, const Variant& value) {
      if (!source || !(V_VT(source) & VT_BYREF)) return;
      VARIANT fresh;
      ToVariant(value, &fresh);
      if (V_VT(source) == (VT_BYREF | VT_VARIANT)) {
        VariantClear(V_VARIANTREF(source));
        *V_VARIANTREF(source) = fresh;
        return;
      }
      // A typed reference keeps its type.
      VARIANT typed;
      VariantInit(&typed);
      const HRESULT hr = VariantChangeType(&typed, &fresh, 0, V_VT(source) & ~VT_BYREF);
      VariantClear(&fresh);
      if (FAILED(hr)) throw Error(ErrorNumber::kTypeMismatch);
      switch (V_VT(source) & ~VT_BYREF) {
        case VT_I2:
          *V_I2REF(source) = V_I2(&typed);
          break;
        case VT_I4:
          *V_I4REF(source) = V_I4(&typed);
          break;
        case VT_BOOL:
          *V_BOOLREF(source) = V_BOOL(&typed);
          break;
        case VT_DATE:
          *V_DATEREF(source) = V_DATE(&typed);
          break;
        case VT_R8:
          *V_R8REF(source) = V_R8(&typed);
          break;
        case VT_BSTR:
          SysFreeString(*V_BSTRREF(source));
          *V_BSTRREF(source) = V_BSTR(&typed);
          return;
        case VT_DISPATCH:
          if (*V_DISPATCHREF(source)) (*V_DISPATCHREF(source))->Release();
          *V_DISPATCHREF(source) = V_DISPATCH(&typed);
          return;
        default:
          VariantClear(&typed);
          throw Error(ErrorNumber::kTypeMismatch);
      }
      VariantClear(&typed);
    };
    for (size_t i = 0; i < args.size(); ++i) {
      if (!(args[i] == before[i])) write_back(sources[i], args[i]);
    }
    for (size_t i = 0; i < named_args.size(); ++i) {
      if (!(named_args[i].value == named_before[i]))
        write_back(named_sources[i], named_args[i].value);
    }
    if (result) ToVariant(out, result);
    return S_OK;
  } catch (...) {
    const HRESULT hr = ReportError(IID_IDispatch);
    if (!exception) return hr;
    *exception = EXCEPINFO{};
    exception->scode = hr;
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) == S_OK) {
      info->GetSource(&exception->bstrSource);
      info->GetDescription(&exception->bstrDescription);
      info->Release();
    }
    return DISP_E_EXCEPTION;
  }
}

HRESULT ComObject::InterfaceSupportsErrorInfo(REFIID iid) {
  if (iid == IID_IDispatch) return S_OK;
  for (const Dual& d : duals_) {
    if (d.table && iid == d.iid) return S_OK;
  }
  return S_FALSE;
}

HRESULT ComObject::GetClassInfo(ITypeInfo** info) {
  if (!info) return E_POINTER;
  *info = nullptr;
  const api::ClassInfo* c = Class();
  if (!c || !TypeLib()) return E_NOTIMPL;
  return TypeLib()->GetTypeInfoOfGuid(ToGuid(c->clsid), info);
}

HRESULT ComObject::GetGUID(DWORD kind, GUID* guid) {
  if (!guid) return E_POINTER;
  *guid = GUID_NULL;
  if (kind != GUIDKIND_DEFAULT_SOURCE_DISP_IID) return E_INVALIDARG;
  *guid = SourceIid();
  return S_OK;
}

HRESULT ComObject::EnumConnectionPoints(IEnumConnectionPoints** out) {
  if (out) *out = nullptr;
  return E_NOTIMPL;
}

HRESULT ComObject::FindConnectionPoint(REFIID iid, IConnectionPoint** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!object_->Events() || iid != SourceIid()) return CONNECT_E_NOCONNECTION;
  *out = new (std::nothrow) ConnectionPoint(this);
  return *out ? S_OK : E_OUTOFMEMORY;
}

}  // namespace orncal::com

// The tables of operations, generated from the description of the type
// library.
#include "dual_interfaces.inc"
