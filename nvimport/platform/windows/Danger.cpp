#include "nvimport/platform/Danger.h"

#include <aclapi.h>
#include <windows.h>

#include <array>
#include <filesystem>
#include <memory>

#include "nvimport/platform/windows/WideText.h"

namespace nvimport {

namespace {

// Whether everybody, or every user, may put or change something there.
bool IsForEverybody(const std::wstring& path) {
  PACL rights = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (::GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                              nullptr, &rights, nullptr, &descriptor) != ERROR_SUCCESS)
    return false;
  const std::unique_ptr<void, decltype(&::LocalFree)> kept(descriptor, &::LocalFree);
  if (rights == nullptr) return true;
  constexpr std::array kWho = {WinWorldSid, WinBuiltinUsersSid, WinAuthenticatedUserSid};
  for (const WELL_KNOWN_SID_TYPE who : kWho) {
    std::array<std::byte, SECURITY_MAX_SID_SIZE> sid{};
    auto size = static_cast<DWORD>(sid.size());
    if (::CreateWellKnownSid(who, nullptr, sid.data(), &size) == 0) continue;
    TRUSTEE_W trustee{};
    trustee.TrusteeForm = TRUSTEE_IS_SID;
    trustee.ptstrName = reinterpret_cast<LPWSTR>(sid.data());
    ACCESS_MASK mask = 0;
    if (::GetEffectiveRightsFromAclW(rights, &trustee, &mask) != ERROR_SUCCESS) continue;
    // Who may write a file, or take one away from a folder and put another there.
    constexpr ACCESS_MASK kFile = FILE_WRITE_DATA | WRITE_DAC | WRITE_OWNER;
    constexpr ACCESS_MASK kFolder = FILE_DELETE_CHILD | WRITE_DAC | WRITE_OWNER;
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    const bool is_folder = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if ((mask & (is_folder ? kFolder : kFile)) != 0) return true;
  }
  return false;
}

}  // namespace

const char* DangerOf(const std::string& path) {
  const std::filesystem::path whole(Wide(path));
  if (!whole.is_absolute()) return "it depends on the working folder";
  std::filesystem::path reached;
  for (const std::filesystem::path& part : whole) {
    reached /= part;
    if (!reached.has_relative_path()) continue;  // a drive
    if (::GetFileAttributesW(reached.c_str()) == INVALID_FILE_ATTRIBUTES) return nullptr;
    if (IsForEverybody(reached.native())) return "everybody may write there";
  }
  return nullptr;
}

}  // namespace nvimport
