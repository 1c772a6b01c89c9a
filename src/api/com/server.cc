// The entry points of the in-process server: its class factories and its
// registration. Classes, their identifiers and the type library come from
// the library's description (api/type_library.h).
#include <string>

#include "api/com/com_object.h"
#include "api/type_library.h"

// Declared by the system's headers only for newer targets.
extern "C" HRESULT WINAPI RegisterTypeLibForUser(ITypeLib* library, OLECHAR* path, OLECHAR* help);
extern "C" HRESULT WINAPI UnRegisterTypeLibForUser(REFGUID libid, WORD major, WORD minor, LCID lcid,
                                                   SYSKIND kind);

namespace orncal::com {
namespace {

// Whether a calendar was started in this process: from then on the DLL
// holds the process's calendar (its unsaved changes, its link to the
// notifier) and is not unloaded.
std::atomic<bool> g_calendar_started{false};

class ClassFactory final : public IClassFactory {
 public:
  explicit ClassFactory(const api::ClassInfo& c) : class_(c) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IClassFactory) {
      *out = static_cast<IClassFactory*>(this);
      AddRef();
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  // The factories are static: they count as locks while held.
  ULONG STDMETHODCALLTYPE AddRef() override { return ++LiveObjects(); }
  ULONG STDMETHODCALLTYPE Release() override { return --LiveObjects(); }

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    try {
      DispatchPtr object = api::CreateObject(class_.clsid.ToString());
      if (class_.application_object) g_calendar_started = true;
      IUnknown* unknown = ToUnknown(object);
      const HRESULT hr = unknown->QueryInterface(iid, out);
      unknown->Release();
      return hr;
    } catch (...) {
      return ReportError(IID_IClassFactory);
    }
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    lock ? ++LiveObjects() : --LiveObjects();
    return S_OK;
  }

 private:
  const api::ClassInfo& class_;
};

std::wstring Text(const std::string& s) { return Wide(s); }

bool SetValue(HKEY root, const std::wstring& key, const wchar_t* name, const std::wstring& value) {
  HKEY handle = nullptr;
  if (RegCreateKeyExW(root, key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &handle, nullptr) !=
      ERROR_SUCCESS) {
    return false;
  }
  const LONG status =
      RegSetValueExW(handle, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                     static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
  RegCloseKey(handle);
  return status == ERROR_SUCCESS;
}

const std::wstring kClassesRoot = L"Software\\Classes\\";

}  // namespace
}  // namespace orncal::com

using namespace orncal::com;
namespace api = orncal::api;

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    SetModule(module);
    DisableThreadLibraryCalls(module);
  }
  return TRUE;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  static std::vector<ClassFactory> factories = [] {
    std::vector<ClassFactory> made;
    for (const api::ClassInfo& c : api::TypeLibrary().classes)
      made.emplace_back(c);
    return made;
  }();
  wchar_t text[40];
  StringFromGUID2(clsid, text, 40);
  const std::optional<api::Guid> wanted = api::Guid::Parse(Utf8(text, wcslen(text)));
  for (size_t i = 0; i < api::TypeLibrary().classes.size(); ++i) {
    const api::ClassInfo& c = api::TypeLibrary().classes[i];
    if (wanted != c.clsid) continue;
    if (!c.creatable) return CLASS_E_CLASSNOTAVAILABLE;
    return factories[i].QueryInterface(iid, out);
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() { return LiveObjects() == 0 && !g_calendar_started ? S_OK : S_FALSE; }

namespace {

// Writes the classes' keys below `root` ("Software\\Classes\\" of a hive, or
// the classes root itself).
bool RegisterClasses(HKEY hive, const std::wstring& root) {
  const api::LibraryInfo& library = api::TypeLibrary();
  const std::wstring path = ModulePath();
  const std::wstring libid = Text(library.libid.ToString());
  const std::wstring version =
      std::to_wstring(library.major_version) + L"." + std::to_wstring(library.minor_version);
  for (const api::ClassInfo& c : library.classes) {
    const std::wstring clsid = Text(c.clsid.ToString());
    const std::wstring progid = Text(api::ProgID(c));
    const std::wstring key = root + L"CLSID\\" + clsid;
    const bool ok = SetValue(hive, key, nullptr, progid) &&
                    SetValue(hive, key + L"\\InprocServer32", nullptr, path) &&
                    SetValue(hive, key + L"\\InprocServer32", L"ThreadingModel", L"Apartment") &&
                    SetValue(hive, key + L"\\ProgID", nullptr, progid) &&
                    SetValue(hive, key + L"\\TypeLib", nullptr, libid) &&
                    SetValue(hive, key + L"\\Version", nullptr, version) &&
                    SetValue(hive, root + progid, nullptr, progid) &&
                    SetValue(hive, root + progid + L"\\CLSID", nullptr, clsid);
    if (!ok) return false;
  }
  return true;
}

void UnregisterClasses(HKEY hive, const std::wstring& root) {
  for (const api::ClassInfo& c : api::TypeLibrary().classes) {
    RegDeleteTreeW(hive, (root + L"CLSID\\" + Text(c.clsid.ToString())).c_str());
    RegDeleteTreeW(hive, (root + Text(api::ProgID(c))).c_str());
  }
}

}  // namespace

// The classes go into the classes root, which is the machine's; a user who
// may not write there gets them for himself alone (the classes root shows
// the user's classes over the machine's).
STDAPI DllRegisterServer() {
  try {
    if (!RegisterClasses(HKEY_CLASSES_ROOT, L"") &&
        !RegisterClasses(HKEY_CURRENT_USER, kClassesRoot)) {
      return SELFREG_E_CLASS;
    }
    ITypeLib* typelib = TypeLib();
    if (!typelib) return SELFREG_E_TYPELIB;
    std::wstring path = ModulePath();
    if (FAILED(RegisterTypeLib(typelib, path.data(), nullptr)) &&
        FAILED(RegisterTypeLibForUser(typelib, path.data(), nullptr))) {
      return SELFREG_E_TYPELIB;
    }
    return S_OK;
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}

STDAPI DllUnregisterServer() {
  try {
    const api::LibraryInfo& library = api::TypeLibrary();
    UnregisterClasses(HKEY_CLASSES_ROOT, L"");
    UnregisterClasses(HKEY_CURRENT_USER, kClassesRoot);
    GUID libid;
    const std::wstring text = Text(library.libid.ToString());
    if (SUCCEEDED(CLSIDFromString(text.c_str(), &libid))) {
      UnRegisterTypeLib(libid, library.major_version, library.minor_version, library.lcid,
                        SYS_WIN64);
      UnRegisterTypeLibForUser(libid, library.major_version, library.minor_version, library.lcid,
                               SYS_WIN64);
    }
    return S_OK;
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}
