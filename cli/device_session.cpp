#include "cli/device_session.h"

#include <cstdlib>
#include <fstream>

#include "cli/owner.h"
#include "platform/changewriter/change_writer.h"

namespace kez::cli {
namespace fs = std::filesystem;

OpenVolume::~OpenVolume() {
    if (m_isOpen) CeUnmountDBVol(&m_volume);
}

void OpenVolume::Open() {
    WCHAR path[] = TEXT("\\pim.vol");
    m_isOpen = CeMountDBVolEx(&m_volume, path, nullptr, OPEN_EXISTING) != 0;
}

DeviceSession::DeviceSession(const fs::path& folder, const fs::path& shownAs)
    : m_folder(folder), m_shownAs(shownAs.empty() ? folder : shownAs) {
    control::SetSleepPolicy(control::SleepPolicy::Idle);
    m_settings = control::OpenDevice(folder);
    changewriter::Attach({});
}

DeviceSession::~DeviceSession() {
    control::CloseDevice();
    changewriter::Detach();
}

void DeviceSession::SetLogLevel(int level) const {
    std::ofstream(m_folder / "dbglev.ini", std::ios::trunc) << level;
    const fs::path marker = m_folder / "KezLog.ini";
    if (level > 0) {
        std::ofstream touch(marker, std::ios::app);
    } else {
        std::error_code ignored;
        fs::remove(marker, ignored);
    }
}

void MakeDevice(const fs::path& folder, const std::string& timeZone) {
    control::CreateDevice(folder, timeZone);
    const DeviceSession session(folder);
    { const Owner owner; }  // the first logon makes the volume and its databases
    changewriter::CreateChangeTables();
    session.SetLogLevel(0);
}

std::string LocalTimeZone() {
    if (const char* zone = std::getenv("TZ"); zone && *zone && *zone != ':' && *zone != '/') return zone;
    std::error_code error;
    const std::string target = fs::read_symlink("/etc/localtime", error).string();
    const std::string marker = "zoneinfo/";
    if (const std::size_t at = target.find(marker); at != std::string::npos) return target.substr(at + marker.size());
    std::string zone;
    std::getline(std::ifstream("/etc/timezone"), zone);
    return zone.empty() ? "UTC" : zone;
}

fs::path ProviderFile() {
    if (const char* file = std::getenv("KEZSYNC_PROVIDER"); file && *file) return file;
    const fs::path libraries = fs::read_symlink("/proc/self/exe").parent_path() / "../lib";
    const fs::path installed = libraries / "kezsync/DevKEZASPContact.so";
    return fs::exists(installed) ? installed : libraries / "DevKEZASPContact.so";
}

}  // namespace kez::cli
