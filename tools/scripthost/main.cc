// orncal-scripthost: runs VBScript files through the system's script engine
// (IActiveScript), for the tests of the automation server.
//
//   orncal-scripthost file.vbs [more.vbs ...]
//
// The files are one script, run in order. The object WScript offers
//   Echo text, ...          a line on standard output
//   CreateObject(progid)    a new object of a registered class
//   ConnectObject obj, p    the events of obj reach the script's Sub p<Event>
//   DisconnectObject obj    ends that
//   Sleep ms                waits, handling the messages of this thread
//   Pass / Fail what        counts a check that held or failed (the
//                           script's assertions call these)
// At the end it prints "N passed, N failed"; it exits 1 when a check failed
// or the script stopped with an error (shown with its file, line, number
// and description), 2 when it could not run at all.
#include <windows.h>
// After windows.h: the script interfaces' identifiers are defined here.
#include <initguid.h>
// Before activscp.h, which declares IActiveScript and its site.
#include <activscp.h>
#include <fcntl.h>
#include <io.h>
#include <ocidl.h>
#include <oleauto.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::wstring Wide(const std::string& utf8) {
  if (utf8.empty()) return {};
  const int n =
      MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
  std::wstring out(n, L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), out.data(), n);
  return out;
}

std::string Utf8(const wchar_t* wide) {
  if (!wide || !*wide) return {};
  const int n = WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
  std::string out(n, '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide, -1, out.data(), n, nullptr, nullptr);
  out.resize(n - 1);
  return out;
}

// The text of an argument, whatever its type (by reference or not).
std::wstring TextOf(const VARIANT& v) {
  VARIANT text;
  VariantInit(&text);
  if (FAILED(VariantChangeType(&text, const_cast<VARIANT*>(&v), VARIANT_ALPHABOOL, VT_BSTR)))
    return L"";
  std::wstring out(V_BSTR(&text), SysStringLen(V_BSTR(&text)));
  VariantClear(&text);
  return out;
}

// The run-time error number a failure shows in a script.
long ErrorNumber(HRESULT hr) {
  if (HRESULT_FACILITY(hr) == FACILITY_CONTROL) return HRESULT_CODE(hr);
  static const std::pair<HRESULT, long> kDispatchErrors[] = {
      {DISP_E_DIVBYZERO, 11},      {DISP_E_TYPEMISMATCH, 13},     {DISP_E_OVERFLOW, 6},
      {DISP_E_BADINDEX, 9},        {DISP_E_UNKNOWNNAME, 438},     {DISP_E_MEMBERNOTFOUND, 438},
      {DISP_E_BADPARAMCOUNT, 450}, {DISP_E_PARAMNOTOPTIONAL, 449}};
  for (auto [code, number] : kDispatchErrors) {
    if (hr == code) return number;
  }
  return static_cast<long>(hr);
}

HRESULT Raise(EXCEPINFO* exception, long number, const wchar_t* description) {
  const HRESULT hr = MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, number);
  if (!exception) return hr;
  *exception = EXCEPINFO{};
  exception->scode = hr;
  exception->bstrSource = SysAllocString(L"WScript");
  exception->bstrDescription = SysAllocString(description);
  return DISP_E_EXCEPTION;
}

// A small IDispatch with a reference count, for the host's own objects.
template <class... Interfaces>
class Unknown : public Interfaces... {
 public:
  virtual ~Unknown() = default;
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 private:
  ULONG references_ = 1;
};

class Host;

// The sink of one object's events: calls the script's Sub prefix + event
// name (the names come from the object's type information).
class EventSink final : public Unknown<IDispatch> {
 public:
  EventSink(IActiveScript* engine, IID events, std::wstring prefix, std::vector<std::wstring> names,
            std::vector<DISPID> ids)
      : engine_(engine),
        events_(events),
        prefix_(std::move(prefix)),
        names_(std::move(names)),
        ids_(std::move(ids)) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (iid == IID_IUnknown || iid == IID_IDispatch || iid == events_) {
      *out = static_cast<IDispatch*>(this);
      AddRef();
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    *count = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return DISP_E_UNKNOWNNAME;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS* params,
                                   VARIANT* result, EXCEPINFO*, UINT*) override {
    if (result) VariantInit(result);
    for (size_t i = 0; i < ids_.size(); ++i) {
      if (ids_[i] != member) continue;
      IDispatch* script = nullptr;
      if (FAILED(engine_->GetScriptDispatch(nullptr, &script))) return S_OK;
      std::wstring name = prefix_ + names_[i];
      LPOLESTR names[] = {name.data()};
      DISPID handler = DISPID_UNKNOWN;
      if (SUCCEEDED(script->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &handler))) {
        DISPPARAMS none{nullptr, nullptr, 0, 0};
        script->Invoke(handler, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD,
                       params ? params : &none, nullptr, nullptr, nullptr);
      }
      script->Release();
    }
    return S_OK;
  }

 private:
  IActiveScript* engine_;
  IID events_;
  std::wstring prefix_;
  std::vector<std::wstring> names_;
  std::vector<DISPID> ids_;
};

struct Connection {
  IUnknown* object;  // held
  IConnectionPoint* point;
  DWORD cookie;
};

class WScript final : public Unknown<IDispatch> {
 public:
  enum : DISPID {
    kEcho = 1,
    kCreateObject,
    kConnectObject,
    kDisconnectObject,
    kSleep,
    kPass,
    kFail
  };

  explicit WScript(IActiveScript** engine) : engine_(engine) {}
  ~WScript() override { DisconnectAll(); }

  int passed = 0;
  int failed = 0;

  void DisconnectAll() {
    for (Connection& c : connections_) {
      c.point->Unadvise(c.cookie);
      c.point->Release();
      c.object->Release();
    }
    connections_.clear();
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (iid == IID_IUnknown || iid == IID_IDispatch) {
      *out = static_cast<IDispatch*>(this);
      AddRef();
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    *count = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                                          DISPID* ids) override {
    static const std::pair<const wchar_t*, DISPID> kNames[] = {
        {L"Echo", kEcho},
        {L"CreateObject", kCreateObject},
        {L"ConnectObject", kConnectObject},
        {L"DisconnectObject", kDisconnectObject},
        {L"Sleep", kSleep},
        {L"Pass", kPass},
        {L"Fail", kFail}};
    HRESULT hr = S_OK;
    for (UINT i = 0; i < count; ++i) {
      ids[i] = DISPID_UNKNOWN;
      for (auto [name, id] : kNames) {
        if (i == 0 && _wcsicmp(names[i], name) == 0) ids[i] = id;
      }
      if (ids[i] == DISPID_UNKNOWN) hr = DISP_E_UNKNOWNNAME;
    }
    return hr;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS* params,
                                   VARIANT* result, EXCEPINFO* exception, UINT*) override {
    if (result) VariantInit(result);
    const UINT n = params ? params->cArgs : 0;
    auto arg = [&](UINT i) -> const VARIANT& { return params->rgvarg[n - 1 - i]; };
    switch (member) {
      case kEcho: {
        std::wstring line;
        for (UINT i = 0; i < n; ++i)
          line += (i ? L" " : L"") + TextOf(arg(i));
        std::printf("%s\n", Utf8(line.c_str()).c_str());
        std::fflush(stdout);
        return S_OK;
      }
      case kCreateObject: {
        if (n != 1) return Raise(exception, 450, L"Wrong number of arguments");
        CLSID clsid;
        IDispatch* object = nullptr;
        if (FAILED(CLSIDFromProgID(TextOf(arg(0)).c_str(), &clsid)) ||
            FAILED(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER,
                                    IID_IDispatch, reinterpret_cast<void**>(&object)))) {
          return Raise(exception, 429, L"ActiveX component can't create object");
        }
        if (result) {
          V_VT(result) = VT_DISPATCH;
          V_DISPATCH(result) = object;
        } else {
          object->Release();
        }
        return S_OK;
      }
      case kConnectObject:
        if (n != 2) return Raise(exception, 450, L"Wrong number of arguments");
        return Connect(arg(0), TextOf(arg(1)), exception);
      case kDisconnectObject:
        if (n != 1) return Raise(exception, 450, L"Wrong number of arguments");
        return Disconnect(arg(0));
      case kSleep:
        if (n != 1) return Raise(exception, 450, L"Wrong number of arguments");
        Pump(_wtoi(TextOf(arg(0)).c_str()));
        return S_OK;
      case kPass:
        ++passed;
        return S_OK;
      case kFail:
        ++failed;
        std::printf("FAILED: %s\n", n ? Utf8(TextOf(arg(0)).c_str()).c_str() : "");
        std::fflush(stdout);
        return S_OK;
    }
    return DISP_E_MEMBERNOTFOUND;
  }

 private:
  static IUnknown* ObjectOf(const VARIANT& v) {
    VARIANT plain;
    VariantInit(&plain);
    if (FAILED(VariantCopyInd(&plain, const_cast<VARIANT*>(&v)))) return nullptr;
    IUnknown* object = nullptr;
    if ((V_VT(&plain) == VT_DISPATCH || V_VT(&plain) == VT_UNKNOWN) && V_UNKNOWN(&plain)) {
      V_UNKNOWN(&plain)->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&object));
    }
    VariantClear(&plain);
    return object;
  }

  // The events' interface of an object and the names of its events, from
  // its class's type information.
  HRESULT Connect(const VARIANT& target, const std::wstring& prefix, EXCEPINFO* exception) {
    IUnknown* object = ObjectOf(target);
    if (!object) return Raise(exception, 424, L"Object required");
    IProvideClassInfo2* info = nullptr;
    IConnectionPointContainer* container = nullptr;
    IConnectionPoint* point = nullptr;
    ITypeInfo* coclass = nullptr;
    ITypeInfo* events = nullptr;
    IID iid{};
    std::vector<std::wstring> names;
    std::vector<DISPID> ids;
    HRESULT hr = object->QueryInterface(IID_IProvideClassInfo2, reinterpret_cast<void**>(&info));
    if (SUCCEEDED(hr)) hr = info->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &iid);
    if (SUCCEEDED(hr)) hr = info->GetClassInfo(&coclass);
    if (SUCCEEDED(hr)) {
      TYPEATTR* attributes = nullptr;
      coclass->GetTypeAttr(&attributes);
      for (UINT i = 0; attributes && i < attributes->cImplTypes && !events; ++i) {
        INT flags = 0;
        HREFTYPE ref = 0;
        coclass->GetImplTypeFlags(i, &flags);
        if (!(flags & IMPLTYPEFLAG_FSOURCE)) continue;
        if (SUCCEEDED(coclass->GetRefTypeOfImplType(i, &ref)))
          coclass->GetRefTypeInfo(ref, &events);
      }
      if (attributes) coclass->ReleaseTypeAttr(attributes);
      hr = events ? S_OK : E_FAIL;
    }
    if (SUCCEEDED(hr)) {
      TYPEATTR* attributes = nullptr;
      events->GetTypeAttr(&attributes);
      for (UINT i = 0; attributes && i < attributes->cFuncs; ++i) {
        FUNCDESC* function = nullptr;
        if (FAILED(events->GetFuncDesc(i, &function))) continue;
        BSTR name = nullptr;
        UINT got = 0;
        events->GetNames(function->memid, &name, 1, &got);
        if (got) {
          names.emplace_back(name, SysStringLen(name));
          ids.push_back(function->memid);
        }
        SysFreeString(name);
        events->ReleaseFuncDesc(function);
      }
      if (attributes) events->ReleaseTypeAttr(attributes);
      hr = object->QueryInterface(IID_IConnectionPointContainer,
                                  reinterpret_cast<void**>(&container));
    }
    if (SUCCEEDED(hr)) hr = container->FindConnectionPoint(iid, &point);
    DWORD cookie = 0;
    if (SUCCEEDED(hr)) {
      auto* sink = new EventSink(*engine_, iid, prefix, names, ids);
      hr = point->Advise(sink, &cookie);
      sink->Release();
    }
    for (IUnknown* p : {static_cast<IUnknown*>(info), static_cast<IUnknown*>(container),
                        static_cast<IUnknown*>(coclass), static_cast<IUnknown*>(events)}) {
      if (p) p->Release();
    }
    if (FAILED(hr)) {
      if (point) point->Release();
      object->Release();
      return Raise(exception, 459, L"Object or class does not support the set of events");
    }
    connections_.push_back({object, point, cookie});
    return S_OK;
  }

  HRESULT Disconnect(const VARIANT& target) {
    IUnknown* object = ObjectOf(target);
    for (auto it = connections_.begin(); it != connections_.end();) {
      if (it->object == object) {
        it->point->Unadvise(it->cookie);
        it->point->Release();
        it->object->Release();
        it = connections_.erase(it);
      } else {
        ++it;
      }
    }
    if (object) object->Release();
    return S_OK;
  }

  // Waits, handling the messages (and so the calls) that reach this thread.
  static void Pump(int milliseconds) {
    const ULONGLONG end = GetTickCount64() + (milliseconds > 0 ? milliseconds : 0);
    for (;;) {
      MSG message;
      while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
      }
      const ULONGLONG now = GetTickCount64();
      if (now >= end) return;
      MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
    }
  }

  IActiveScript** engine_;
  std::vector<Connection> connections_;
};

class Site final : public Unknown<IActiveScriptSite> {
 public:
  Site(WScript* wscript, std::vector<std::string> files)
      : wscript_(wscript), files_(std::move(files)) {}

  bool error = false;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (iid == IID_IUnknown || iid == IID_IActiveScriptSite) {
      *out = static_cast<IActiveScriptSite*>(this);
      AddRef();
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  HRESULT STDMETHODCALLTYPE GetLCID(LCID* lcid) override {
    *lcid = 0x409;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetItemInfo(LPCOLESTR name, DWORD mask, IUnknown** item,
                                        ITypeInfo** info) override {
    if (info) *info = nullptr;
    if (item) *item = nullptr;
    if (_wcsicmp(name, L"WScript") != 0) return TYPE_E_ELEMENTNOTFOUND;
    if ((mask & SCRIPTINFO_IUNKNOWN) && item) {
      wscript_->AddRef();
      *item = static_cast<IDispatch*>(wscript_);
    }
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetDocVersionString(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE OnScriptTerminate(const VARIANT*, const EXCEPINFO*) override {
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE OnStateChange(SCRIPTSTATE) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE OnScriptError(IActiveScriptError* e) override {
    error = true;
    EXCEPINFO info{};
    e->GetExceptionInfo(&info);
    if (info.pfnDeferredFillIn) info.pfnDeferredFillIn(&info);
    DWORD context = 0;
    ULONG line = 0;
    LONG column = 0;
    e->GetSourcePosition(&context, &line, &column);
    const HRESULT code = info.scode ? info.scode : static_cast<HRESULT>(info.wCode);
    std::printf("%s:%lu: error %ld: %s\n",
                context < files_.size() ? files_[context].c_str() : "script",
                static_cast<unsigned long>(line + 1), ErrorNumber(code),
                Utf8(info.bstrDescription).c_str());
    std::fflush(stdout);
    SysFreeString(info.bstrSource);
    SysFreeString(info.bstrDescription);
    SysFreeString(info.bstrHelpFile);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE OnEnterScript() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE OnLeaveScript() override { return S_OK; }

 private:
  WScript* wscript_;
  std::vector<std::string> files_;
};

std::wstring ReadScript(const std::string& path, bool& ok) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  ok = static_cast<bool>(in);
  return Wide(text.str());
}

int Run(const std::vector<std::string>& files) {
  IActiveScript* engine = nullptr;
  CLSID clsid;
  if (FAILED(CLSIDFromProgID(L"VBScript", &clsid)) ||
      FAILED(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IActiveScript,
                              reinterpret_cast<void**>(&engine)))) {
    std::fprintf(stderr, "orncal-scripthost: the VBScript engine is not available\n");
    return 2;
  }
  IActiveScriptParse64* parse = nullptr;
  auto* wscript = new WScript(&engine);
  auto* site = new Site(wscript, files);
  int status = 2;
  if (SUCCEEDED(
          engine->QueryInterface(IID_IActiveScriptParse64, reinterpret_cast<void**>(&parse))) &&
      SUCCEEDED(engine->SetScriptSite(site)) && SUCCEEDED(parse->InitNew()) &&
      SUCCEEDED(engine->AddNamedItem(L"WScript", SCRIPTITEM_ISVISIBLE | SCRIPTITEM_NOCODE))) {
    status = 0;
    for (DWORD i = 0; i < files.size() && status == 0; ++i) {
      bool read = false;
      const std::wstring text = ReadScript(files[i], read);
      if (!read) {
        std::fprintf(stderr, "orncal-scripthost: cannot read %s\n", files[i].c_str());
        status = 2;
        break;
      }
      EXCEPINFO exception{};
      if (FAILED(parse->ParseScriptText(text.c_str(), nullptr, nullptr, nullptr, i, 0, 0, nullptr,
                                        &exception))) {
        site->error = true;
      }
      SysFreeString(exception.bstrSource);
      SysFreeString(exception.bstrDescription);
      SysFreeString(exception.bstrHelpFile);
      if (site->error) break;
    }
    // The script runs when the engine starts; its errors reach the site.
    if (status == 0 && !site->error) {
      const HRESULT hr = engine->SetScriptState(SCRIPTSTATE_CONNECTED);
      // The engine may also stop without telling the site.
      if (FAILED(hr) && !site->error) {
        std::printf("the script stopped: error %ld\n", ErrorNumber(hr));
        site->error = true;
      }
    }
    wscript->DisconnectAll();
    engine->Close();
    std::printf("%d passed, %d failed\n", wscript->passed, wscript->failed);
    if (status == 0 && (site->error || wscript->failed > 0)) status = 1;
  }
  if (parse) parse->Release();
  engine->Release();
  site->Release();
  wscript->Release();
  return status;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  _setmode(_fileno(stdout), _O_BINARY);
  if (argc < 2) {
    std::fprintf(stderr, "usage: orncal-scripthost file.vbs [more.vbs ...]\n");
    return 2;
  }
  std::vector<std::string> files;
  for (int i = 1; i < argc; ++i)
    files.push_back(Utf8(argv[i]));
  if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 2;
  const int status = Run(files);
  CoUninitialize();
  return status;
}
