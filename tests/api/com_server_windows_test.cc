// OrnCalendar.dll as a C++ client uses it: loaded from beside this
// program, its classes made through DllGetClassObject, called late-bound
// through IDispatch (named arguments included) and early-bound through the
// tables of its dual interfaces as the type library describes them.
#include <gtest/gtest.h>
#include <windows.h>
// windows.h first: the OLE headers need its types.
#include <ocidl.h>
#include <oleauto.h>
#include <olectl.h>
#include <shlobj.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr GUID kCalendarMain = {
    0x2A2FD60C, 0x095A, 0x4C34, {0x82, 0x57, 0x45, 0xCD, 0x04, 0xC2, 0xAD, 0x60}};
constexpr GUID kNotificator = {
    0x5D75E0CD, 0xDCE6, 0x42E0, {0x91, 0x6F, 0x29, 0x27, 0xF9, 0xA8, 0xBF, 0x55}};
constexpr GUID kDateTimeNormal = {
    0x8D884760, 0xA34C, 0x466E, {0xBE, 0xBA, 0x87, 0x05, 0x95, 0xD9, 0xF3, 0x43}};
constexpr GUID kNotificatorEvents = {
    0x1D3F37FB, 0x4E32, 0x4DCC, {0x81, 0xE6, 0xB5, 0x4E, 0x86, 0x9C, 0x78, 0x29}};

// A reference that is released at the end of its scope.
template <class T>
struct Ref {
  T* p = nullptr;
  Ref() = default;
  explicit Ref(T* raw) : p(raw) {}
  Ref(const Ref&) = delete;
  Ref& operator=(const Ref&) = delete;
  ~Ref() {
    if (p) p->Release();
  }
  T* operator->() const { return p; }
  T** operator&() { return &p; }
  void** Out() { return reinterpret_cast<void**>(&p); }
};

struct Var : VARIANT {
  Var() { VariantInit(this); }
  explicit Var(LONG v) {
    VariantInit(this);
    vt = VT_I4;
    lVal = v;
  }
  explicit Var(const wchar_t* s) {
    VariantInit(this);
    vt = VT_BSTR;
    bstrVal = SysAllocString(s);
  }
  static Var Date(double d) {
    Var v;
    v.vt = VT_DATE;
    v.date = d;
    return v;
  }
  explicit Var(IDispatch* d) {
    VariantInit(this);
    vt = VT_DISPATCH;
    pdispVal = d;
    d->AddRef();
  }
  Var(const Var&) = delete;
  Var(Var&& other) noexcept : VARIANT(other) { VariantInit(&other); }
  ~Var() { VariantClear(this); }
};

constexpr double k2031May14 = 47617.0;  // 14 May 2031

class ComServerTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    // The server keeps its data in the user's application-data folder:
    // this program starts it on an empty one.
    wchar_t appdata[MAX_PATH];
    ASSERT_TRUE(SHGetSpecialFolderPathW(nullptr, appdata, CSIDL_APPDATA, TRUE));
    std::error_code ignored;
    std::filesystem::remove_all(std::filesystem::path(appdata) / L"Ornavel", ignored);
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    module_ = LoadLibraryW(L"OrnCalendar.dll");
    ASSERT_NE(module_, nullptr);
    // Two appointments in May 2031, the second invisible.
    Ref<IDispatch> main(Create(kCalendarMain));
    ASSERT_TRUE(main.p);
    Ref<IDispatch> calendar(Object(main.p, L"Calendar"));
    ASSERT_TRUE(calendar.p);
    for (LONG flags : {0, 1}) {
      Var start = Var::Date(k2031May14 + 0.375), end = Var::Date(k2031May14 + 0.4);
      Ref<IDispatch> a(Object(calendar.p, L"Appointment", {&start, &end}));
      ASSERT_TRUE(a.p);
      Var value(flags);
      Put(a.p, L"Flags", &value);
      Call(a.p, L"NotifyChange", DISPATCH_METHOD, {});
    }
  }

  // A new object of a class through the DLL's own class factory.
  static IDispatch* Create(const GUID& clsid) {
    auto get = reinterpret_cast<HRESULT(WINAPI*)(REFCLSID, REFIID, void**)>(
        reinterpret_cast<void*>(GetProcAddress(module_, "DllGetClassObject")));
    Ref<IClassFactory> factory;
    if (!get || FAILED(get(clsid, IID_IClassFactory, factory.Out()))) return nullptr;
    IDispatch* object = nullptr;
    factory->CreateInstance(nullptr, IID_IDispatch, reinterpret_cast<void**>(&object));
    return object;
  }

  static DISPID Id(IDispatch* object, const wchar_t* name) {
    LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
    DISPID id = DISPID_UNKNOWN;
    EXPECT_EQ(object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id), S_OK) << name;
    return id;
  }

  // Calls a member with positional arguments (in order) and named ones.
  static HRESULT Call(IDispatch* object, const wchar_t* name, WORD flags,
                      std::vector<VARIANT*> args, Var* result = nullptr,
                      std::vector<std::pair<DISPID, VARIANT*>> named = {},
                      EXCEPINFO* exception = nullptr) {
    std::vector<VARIANT> values;
    std::vector<DISPID> ids;
    for (auto& [id, value] : named) {
      values.push_back(*value);
      ids.push_back(id);
    }
    for (auto it = args.rbegin(); it != args.rend(); ++it)
      values.push_back(**it);
    DISPPARAMS params{values.data(), ids.data(), static_cast<UINT>(values.size()),
                      static_cast<UINT>(ids.size())};
    EXCEPINFO ignored{};
    const HRESULT hr = object->Invoke(Id(object, name), IID_NULL, LOCALE_USER_DEFAULT, flags,
                                      &params, result, exception ? exception : &ignored, nullptr);
    if (!exception) {
      SysFreeString(ignored.bstrSource);
      SysFreeString(ignored.bstrDescription);
    }
    return hr;
  }
  static IDispatch* Object(IDispatch* object, const wchar_t* name,
                           std::vector<VARIANT*> args = {}) {
    Var result;
    if (FAILED(Call(object, name, DISPATCH_METHOD | DISPATCH_PROPERTYGET, args, &result)) ||
        result.vt != VT_DISPATCH || !result.pdispVal) {
      return nullptr;
    }
    result.pdispVal->AddRef();
    return result.pdispVal;
  }
  static LONG Number(IDispatch* object, const wchar_t* name) {
    Var result;
    Call(object, name, DISPATCH_METHOD | DISPATCH_PROPERTYGET, {}, &result);
    VariantChangeType(&result, &result, 0, VT_I4);
    return result.lVal;
  }
  static void Put(IDispatch* object, const wchar_t* name, VARIANT* value) {
    DISPID put = DISPID_PROPERTYPUT;
    DISPPARAMS params{value, &put, 1, 1};
    ASSERT_EQ(object->Invoke(Id(object, name), IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT,
                             &params, nullptr, nullptr, nullptr),
              S_OK)
        << name;
  }

  static IDispatch* May2031() {
    IDispatch* period = Create(kDateTimeNormal);
    Var first = Var::Date(k2031May14 - 13), last = Var::Date(k2031May14 + 17);
    Put(period, L"StartDateTime", &first);
    Put(period, L"EndDateTime", &last);
    return period;
  }

  static inline HMODULE module_ = nullptr;
};

TEST_F(ComServerTest, NamedArgumentsOptionalOnesAndTheirErrors) {
  Ref<IDispatch> main(Create(kCalendarMain));
  ASSERT_TRUE(main.p);
  Ref<IDispatch> calendar(Object(main.p, L"Calendar"));
  ASSERT_TRUE(calendar.p);
  Ref<IDispatch> may(May2031());
  Var period(may.p);

  // The argument names come with the member's name, blind to case.
  LPOLESTR names[] = {const_cast<LPOLESTR>(L"AllAppointmentsInPeriod"),
                      const_cast<LPOLESTR>(L"notflags"), const_cast<LPOLESTR>(L"Period")};
  DISPID ids[3];
  ASSERT_EQ(calendar->GetIDsOfNames(IID_NULL, names, 3, LOCALE_USER_DEFAULT, ids), S_OK);
  EXPECT_EQ(ids[1], 6);
  EXPECT_EQ(ids[2], 0);
  names[1] = const_cast<LPOLESTR>(L"NotFlagz");
  EXPECT_EQ(calendar->GetIDsOfNames(IID_NULL, names, 2, LOCALE_USER_DEFAULT, ids),
            DISP_E_UNKNOWNNAME);

  struct Case {
    std::vector<std::pair<DISPID, LONG>> named;
    LONG count;
  } cases[] = {{{}, 1}, {{{6, 0}}, 2}, {{{6, 0}, {3, -1}}, 0}};  // NotFlags, OnlyAllDay
  for (const Case& c : cases) {
    std::vector<Var> values;
    values.reserve(c.named.size());
    std::vector<std::pair<DISPID, VARIANT*>> named;
    for (auto [id, v] : c.named) {
      values.emplace_back(v);
      named.emplace_back(id, &values.back());
    }
    Var result;
    ASSERT_EQ(
        Call(calendar.p, L"AllAppointmentsInPeriod", DISPATCH_METHOD, {&period}, &result, named),
        S_OK);
    ASSERT_EQ(result.vt, VT_DISPATCH);
    EXPECT_EQ(Number(result.pdispVal, L"Count"), c.count) << c.named.size() << " named";
  }

  // The period named and the others left out; then a required one missing.
  Var result;
  EXPECT_EQ(
      Call(calendar.p, L"AllAppointmentsInPeriod", DISPATCH_METHOD, {}, &result, {{0, &period}}),
      S_OK);
  EXCEPINFO exception{};
  EXPECT_EQ(Call(calendar.p, L"AllAppointmentsInPeriod", DISPATCH_METHOD, {}, &result,
                 {{6, &period}}, &exception),
            DISP_E_EXCEPTION);
  EXPECT_EQ(exception.scode, static_cast<SCODE>(0x800A01C1));  // 449
  EXPECT_STREQ(exception.bstrSource, L"OrnCalendar");
  SysFreeString(exception.bstrSource);
  SysFreeString(exception.bstrDescription);

  Ref<ISupportErrorInfo> support;
  ASSERT_EQ(calendar->QueryInterface(IID_ISupportErrorInfo, support.Out()), S_OK);
  EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IDispatch), S_OK);
}

// The type library's description of each dual interface drives the calls
// through its table of operations: a slot out of place calls the wrong
// member or crashes.
TEST_F(ComServerTest, TheDualInterfacesFollowTheTypeLibrary) {
  Ref<IDispatch> main(Create(kCalendarMain));
  Ref<IDispatch> calendar(Object(main.p, L"Calendar"));
  ASSERT_TRUE(calendar.p);
  Ref<ITypeInfo> info;
  ASSERT_EQ(calendar->GetTypeInfo(0, LOCALE_USER_DEFAULT, &info), S_OK);
  TYPEATTR* attributes = nullptr;
  ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
  const IID iid = attributes->guid;
  EXPECT_TRUE(attributes->wTypeFlags & TYPEFLAG_FDUAL);
  info->ReleaseTypeAttr(attributes);
  // The dual interface's own type information describes its table.
  HREFTYPE table_ref = 0;
  Ref<ITypeInfo> table;
  ASSERT_EQ(info->GetRefTypeOfImplType(-1, &table_ref), S_OK);
  ASSERT_EQ(info->GetRefTypeInfo(table_ref, &table), S_OK);
  Ref<IUnknown> early;
  ASSERT_EQ(calendar->QueryInterface(iid, early.Out()), S_OK);

  auto invoke = [&](const wchar_t* name, WORD flags, std::vector<VARIANT*> args,
                    std::vector<std::pair<const wchar_t*, VARIANT*>> named, Var* result) {
    std::vector<LPOLESTR> names{const_cast<LPOLESTR>(name)};
    for (auto& n : named)
      names.push_back(const_cast<LPOLESTR>(n.first));
    std::vector<DISPID> ids(names.size());
    EXPECT_EQ(DispGetIDsOfNames(table.p, names.data(), static_cast<UINT>(names.size()), ids.data()),
              S_OK);
    std::vector<VARIANT> values;
    for (auto it = named.rbegin(); it != named.rend(); ++it)
      values.push_back(*it->second);
    for (auto it = args.rbegin(); it != args.rend(); ++it)
      values.push_back(**it);
    std::vector<DISPID> named_ids(ids.rbegin(), ids.rend() - 1);
    DISPPARAMS params{values.data(), named_ids.data(), static_cast<UINT>(values.size()),
                      static_cast<UINT>(named_ids.size())};
    EXCEPINFO exception{};
    const HRESULT hr =
        DispInvoke(early.p, table.p, ids[0], flags, &params, result, &exception, nullptr);
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrDescription);
    return hr;
  };
  Var path;
  ASSERT_EQ(invoke(L"Path", DISPATCH_PROPERTYGET, {}, {}, &path), S_OK);
  EXPECT_EQ(path.vt, VT_BSTR);
  EXPECT_NE(std::wstring(path.bstrVal).find(L"ornavel"), std::wstring::npos) << path.bstrVal;

  Ref<IDispatch> may(May2031());
  Var period(may.p), zero(LONG{0}), everything, invisible_out;
  ASSERT_EQ(invoke(L"AllAppointmentsInPeriod", DISPATCH_METHOD, {&period}, {{L"NotFlags", &zero}},
                   &everything),
            S_OK);
  ASSERT_EQ(invoke(L"AllAppointmentsInPeriod", DISPATCH_METHOD, {&period}, {}, &invisible_out),
            S_OK);
  ASSERT_EQ(everything.vt, VT_DISPATCH);
  EXPECT_EQ(Number(everything.pdispVal, L"Count"), 2);
  EXPECT_EQ(Number(invisible_out.pdispVal, L"Count"), 1);

  // For Each: NewEnum gives the standard enumerator.
  Var walker;
  DISPPARAMS none{nullptr, nullptr, 0, 0};
  ASSERT_EQ(everything.pdispVal->Invoke(DISPID_NEWENUM, IID_NULL, LOCALE_USER_DEFAULT,
                                        DISPATCH_METHOD | DISPATCH_PROPERTYGET, &none, &walker,
                                        nullptr, nullptr),
            S_OK);
  Ref<IEnumVARIANT> entries;
  ASSERT_EQ(walker.punkVal->QueryInterface(IID_IEnumVARIANT, entries.Out()), S_OK);
  Var first, second, third;
  ULONG fetched = 0;
  EXPECT_EQ(entries->Next(1, &first, &fetched), S_OK);
  EXPECT_EQ(entries->Next(1, &second, &fetched), S_OK);
  EXPECT_EQ(entries->Next(1, &third, &fetched), S_FALSE);
  EXPECT_EQ(fetched, 0u);
  EXPECT_EQ(first.vt, VT_DISPATCH);
}

// A sink of the client's own gets Change (1) through the connection point
// the class's information names.
class Sink final : public IDispatch {
 public:
  std::vector<DISPID> calls;
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (iid == IID_IUnknown || iid == IID_IDispatch || iid == kNotificatorEvents) {
      *out = this;
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override {
    *n = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return DISP_E_UNKNOWNNAME;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                   UINT*) override {
    calls.push_back(id);
    return S_OK;
  }
};

TEST_F(ComServerTest, EventsReachASinkThroughTheConnectionPoint) {
  Ref<IDispatch> notificator(Create(kNotificator));
  ASSERT_TRUE(notificator.p);
  Ref<IProvideClassInfo2> info;
  ASSERT_EQ(notificator->QueryInterface(IID_IProvideClassInfo2, info.Out()), S_OK);
  GUID events{};
  ASSERT_EQ(info->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &events), S_OK);
  EXPECT_EQ(events, kNotificatorEvents);
  Ref<ITypeInfo> coclass;
  ASSERT_EQ(info->GetClassInfo(&coclass), S_OK);
  TYPEATTR* attributes = nullptr;
  coclass->GetTypeAttr(&attributes);
  EXPECT_EQ(attributes->guid, kNotificator);
  coclass->ReleaseTypeAttr(attributes);

  Ref<IConnectionPointContainer> container;
  ASSERT_EQ(notificator->QueryInterface(IID_IConnectionPointContainer, container.Out()), S_OK);
  Ref<IConnectionPoint> point;
  ASSERT_EQ(container->FindConnectionPoint(events, &point), S_OK);
  Sink sink;
  DWORD cookie = 0;
  ASSERT_EQ(point->Advise(&sink, &cookie), S_OK);
  Var only_here(LONG{0});
  Call(notificator.p, L"RaiseChange", DISPATCH_METHOD, {&only_here});
  EXPECT_EQ(sink.calls, std::vector<DISPID>{1});
  EXPECT_EQ(point->Unadvise(cookie), S_OK);
  EXPECT_EQ(point->Unadvise(cookie), CONNECT_E_NOCONNECTION);
  Call(notificator.p, L"RaiseChange", DISPATCH_METHOD, {&only_here});
  EXPECT_EQ(sink.calls.size(), 1u);
}

}  // namespace
