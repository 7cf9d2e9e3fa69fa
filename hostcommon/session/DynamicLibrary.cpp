#include "hostcommon/session/DynamicLibrary.h"

#if defined(_WIN32)
#include <windows.h>

#include <array>
#include <system_error>

#include "hostcommon/Utf8Path.h"
#else
#include <dlfcn.h>

#include <system_error>
#endif

namespace pwr {

#if defined(_WIN32)

namespace {

/// Of the executable for null.
std::filesystem::path folderOf(HMODULE module) {
  std::array<wchar_t, 32768> path{};
  GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
  return std::filesystem::path(path.data()).parent_path();
}

}  // namespace

std::filesystem::path executableFolder() {
  return folderOf(nullptr);
}

std::filesystem::path libraryFolder() {
  constexpr DWORD kByAddress =
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  HMODULE module = nullptr;
  GetModuleHandleExW(kByAddress, reinterpret_cast<LPCWSTR>(&libraryFolder), &module);
  return folderOf(module);
}

void* openLibrary(const std::string& path, std::string& error) {
  // A bare file name would be searched for in the system's library folders; the libraries that this
  // one needs are searched for beside it.
  const auto file = std::filesystem::absolute(pathFromUtf8(path)).make_preferred();
  void* const library = LoadLibraryExW(file.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (library == nullptr) error = std::system_category().message(static_cast<int>(GetLastError()));
  return library;
}

void* findSymbol(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void closeLibrary(void* library) {
  FreeLibrary(static_cast<HMODULE>(library));
}

#else

std::filesystem::path executableFolder() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

std::filesystem::path libraryFolder() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&libraryFolder), &info) == 0) return executableFolder();
  // The name that the program was started with, where this is a part of the program.
  const std::filesystem::path file(info.dli_fname);
  if (!file.is_absolute()) return executableFolder();
  std::error_code error;
  const std::filesystem::path real = std::filesystem::canonical(file, error);
  return error ? file.parent_path() : real.parent_path();
}

void* openLibrary(const std::string& path, std::string& error) {
  // A bare file name would be searched for in the system's library folders.
  const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
  void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) error = dlerror();
  return library;
}

void* findSymbol(void* library, const char* name) {
  return dlsym(library, name);
}

void closeLibrary(void* library) {
  dlclose(library);
}

#endif

}  // namespace pwr
