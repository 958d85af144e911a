#include <windows.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

// nvimport-path-entry add|remove FOLDER: changes the machine's PATH, of which an installer's own
// texts could hold a part only. Says nothing; 0 when it is as asked.

namespace {

constexpr const wchar_t* kKey = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
constexpr const wchar_t* kName = L"Path";

std::vector<std::wstring> Split(std::wstring_view path) {
  std::vector<std::wstring> folders;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find(L';'), path.size());
    if (end > 0) folders.emplace_back(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return folders;
}

std::wstring Join(const std::vector<std::wstring>& folders) {
  std::wstring path;
  for (const std::wstring& folder : folders) path += (path.empty() ? L"" : L";") + folder;
  return path;
}

bool IsSame(const std::wstring& a, const std::wstring& b) {
  return ::CompareStringOrdinal(a.c_str(), -1, b.c_str(), -1, TRUE) == CSTR_EQUAL;
}

bool Change(HKEY key, bool adds, const std::wstring& folder) {
  DWORD type = REG_EXPAND_SZ;
  DWORD size = 0;
  const LSTATUS found = ::RegQueryValueExW(key, kName, nullptr, &type, nullptr, &size);
  if (found != ERROR_SUCCESS && found != ERROR_FILE_NOT_FOUND) return false;
  std::wstring path(size / sizeof(wchar_t), L'\0');
  if (found == ERROR_SUCCESS &&
      ::RegQueryValueExW(key, kName, nullptr, nullptr, reinterpret_cast<BYTE*>(path.data()),
                         &size) != ERROR_SUCCESS)
    return false;
  path.resize(std::min(path.find(L'\0'), path.size()));
  std::vector<std::wstring> folders = Split(path);
  const auto is_it = [&](const std::wstring& other) { return IsSame(other, folder); };
  if (adds == std::ranges::any_of(folders, is_it)) return true;
  if (adds)
    folders.push_back(folder);
  else
    std::erase_if(folders, is_it);
  path = Join(folders);
  return ::RegSetValueExW(key, kName, 0, type, reinterpret_cast<const BYTE*>(path.c_str()),
                          static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

}  // namespace

int main() {
  int count = 0;
  wchar_t** const arguments = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  if (count != 3) return 2;
  const std::wstring_view what = arguments[1];
  if (what != L"add" && what != L"remove") return 2;
  HKEY key = nullptr;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, KEY_QUERY_VALUE | KEY_SET_VALUE, &key) !=
      ERROR_SUCCESS)
    return 1;
  const bool is_done = Change(key, what == L"add", arguments[2]);
  ::RegCloseKey(key);
  // So that shells opened from now on have it.
  constexpr UINT kPatience = 2000;
  ::SendMessageTimeoutW(HWND_BROADCAST, WM_SETTINGCHANGE, 0,
                        reinterpret_cast<LPARAM>(L"Environment"), SMTO_ABORTIFHUNG, kPatience,
                        nullptr);
  return is_done ? 0 : 1;
}
