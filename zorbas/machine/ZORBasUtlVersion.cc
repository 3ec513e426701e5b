#include "zorbas/machine/ZORBasUtlVersion.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "companions/framework/PLXError.h"
#include "companions/framework/PLXFatalError.h"

template class omi_SingletonBase<ZORBasUtlVersion>;
template class omi_Singleton<ZORBasUtlVersion>;

// Written by the build (ZORBasBuildStamp.cc, regenerated when the commit changes).
extern const char ZORBasBuildStampCommit[];

namespace {

// The release facts, from the project's version and the build line (machine/CMakeLists.txt).
constexpr int kMajor = ZORBAS_RELEASE_MAJOR;
constexpr int kMinor = ZORBAS_RELEASE_MINOR;
constexpr int kUpdate = ZORBAS_RELEASE_UPDATE;
constexpr int kCopyrightYear = ZORBAS_COPYRIGHT_YEAR;
constexpr const char* kPythonVersion = "2.7.3";
constexpr const char* kBranchInfoFile = ZORBAS_BRANCH_INFO_FILE;
constexpr const char* kSourcePath = "ZORBase/ZORBasUtils.m/src/ZORBasUtlVersion";

struct TypeRow {
    const char* text;
    bool debugInfo;
};
constexpr TypeRow kTypes[] = {
    {"", true},    {"DEV", true}, {"", false},   {"IP", false}, {"MNT", true},
    {"PR", false}, {"", false},   {"EFR", true}, {"PF", false}, {"EF", false},
};
constexpr int kTypeCount = sizeof kTypes / sizeof kTypes[0];

constexpr int kBufferSize = 80;
char g_versionNumber[kBufferSize];
char g_releaseInfo[kBufferSize];
char g_buildInfo[kBufferSize];
char g_snapshot[100];

void CopyCut(char* buffer, const char* text) { std::snprintf(buffer, kBufferSize, "%s", text); }

cow_String Decimal(int value) {
    char text[16];
    std::snprintf(text, sizeof text, "%d", value);
    return cow_String(text);
}

// The "(MNT)" style tag: 7 counts as 1 and 8 as 5; only the development, maintenance,
// intermediate and pre-release types have a text.
cow_String ReleaseSuffix(int type, int update, const char* suffix) {
    if (type == ZORBasUtlVersion::TypeExtendedDevelopment) type = ZORBasUtlVersion::TypeDevelopment;
    if (type == ZORBasUtlVersion::TypeExtendedPre) type = ZORBasUtlVersion::TypePre;
    cow_String text;
    if (type == ZORBasUtlVersion::TypeDevelopment || type == ZORBasUtlVersion::TypeMaintenance) {
        text = kTypes[type].text;
    } else if (type == ZORBasUtlVersion::TypeIntermediate || type == ZORBasUtlVersion::TypePre) {
        text = kTypes[type].text;
        if (update >= 0) text += Decimal(update);
        if (suffix) text += suffix;
    }
    if (text.Empty()) return text;
    return cow_String("(") + text + ")";
}

cow_String LegacyForm(int major, int minor, int update, int type, const char* suffix) {
    cow_String text = Decimal(major) + "." + Decimal(minor);
    switch (type) {
        case 0:
            text += "-";
            break;
        case 1:
        case 4:
        case 7:
            text += cow_String("-") + kTypes[type].text;
            break;
        case 2:
        case 6:
            if (update > 0) text += cow_String("-") + Decimal(update);
            break;
        case 3:
        case 5:
            text += cow_String("-") + kTypes[type].text;
            if (update >= 0) text += Decimal(update);
            if (suffix) text += suffix;
            break;
        case 8:
            text += cow_String("-") + kTypes[type].text;
            if (update >= 0) text += Decimal(update);
            break;
        case 9:
            text += cow_String("-") + kTypes[type].text;
            if (update > 0) text += Decimal(update);
            break;
        default:
            zorbas_wassert("\"The Version Type classification is not defined.\" == 0", kSourcePath,
                           __LINE__);
    }
    // The version record of the suite's results file keeps the version in 8 bytes.
    if (text.Length() > 8)
        zorbas_wassert(
            "\"The Version string supports up to 8 bytes; the maximum for the version record of "
            "the results file.\" == 0",
            kSourcePath, __LINE__);
    CopyCut(g_versionNumber, text.CStr());
    return text;
}

// The text of `minor`, split after its first character: 19 gives "1" and "9".
cow_String InternalText(int minor) {
    cow_String digits = Decimal(minor);
    return Decimal(kMajor) + digits.Substr(0, 1) + "." + digits.Substr(1, digits.Length());
}

float InternalId(int minor) {
    float v = static_cast<float>(minor) / 10.0f;
    if (kMajor > 5 && minor > 9) return static_cast<float>(kMajor * 10) + v;
    return static_cast<float>(kMajor) + v;
}

// The path's last component without its extension, as the path class's BaseName() gives it.
cow_String PathBaseName(const char* path) {
    const char* name = path;
    for (const char* p = path; *p; ++p)
        if (*p == '/' || *p == '\\') name = p + 1;
    const char* dot = std::strrchr(name, '.');
    int length = dot ? static_cast<int>(dot - name) : static_cast<int>(std::strlen(name));
    return cow_String(name, length);
}

bool NameIn(const cow_String& name, const char* const (&names)[3]) {
    cow_String lower = name;
    lower.ToLower();
    for (const char* candidate : names)
        if (lower == candidate) return true;
    return false;
}

// Reads the third line of one branch information file and copies its snapshot attribute into
// the static buffer without a terminator, so that a shorter later hit keeps the earlier tail.
void ScanBranchInfo(const cow_String& file) {
    std::FILE* in = std::fopen(file.CStr(), "r");
    if (!in) return;
    char line[100] = {};
    for (int i = 0; i < 3; ++i)
        if (!std::fgets(line, sizeof line, in)) line[0] = 0;
    std::fclose(in);
    static const char kKey[] = "snapshot=\"";
    const char* start = std::strstr(line, kKey);
    if (!start) return;
    start += sizeof kKey - 1;
    const char* end = std::strchr(start, '"');
    if (!end) end = start + std::strlen(start);
    size_t length = static_cast<size_t>(end - start);
    if (length > sizeof g_snapshot - 1) length = sizeof g_snapshot - 1;
    std::strncpy(g_snapshot, start, length);
}

}  // namespace

ZORBasUtlVersion::ZORBasUtlVersion()
    : versionType(TypeMaintenance),
      productName("Veldor"),
      shortName(PLYSysGetPackagingVersionShortName().CastToCharPtr()),
      longName(PLYSysGetPackagingVersionLongName().CastToCharPtr()) {
    const char* mode = std::getenv("VELDOR_DEVL_MODE");
    developmentMode = mode && std::strcmp(mode, "TRUE") == 0;
}

const char* ZORBasUtlVersion::TypeText(int type) {
    return type >= 0 && type < kTypeCount ? kTypes[type].text : "";
}
bool ZORBasUtlVersion::TypeHasDebugInfo(int type) {
    return type >= 0 && type < kTypeCount && kTypes[type].debugInfo;
}
bool ZORBasUtlVersion::GetDebugInfoEnabledForVersionType() {
    return kTypes[TypeMaintenance].debugInfo;
}

int ZORBasUtlVersion::MajorVersion() { return kMajor; }
int ZORBasUtlVersion::MinorVersion() { return kMinor; }
int ZORBasUtlVersion::UpdateVersion() { return kUpdate; }
int ZORBasUtlVersion::CopyrightYear() { return kCopyrightYear; }
cow_String ZORBasUtlVersion::PythonVersion() { return kPythonVersion; }

cow_String ZORBasUtlVersion::VersionNumber() {
    return LegacyForm(kMajor, kMinor, kUpdate, versionType, "");
}
const char* ZORBasUtlVersion::VersionNumberCStr() { return g_versionNumber; }

cow_String ZORBasUtlVersion::VersionNumberFromValues(int major, int minor, int update, int type,
                                                     const char* suffix) {
    if (major < 7 && minor < 15) return LegacyForm(major, minor, update, type, suffix);
    cow_String text = Decimal(minor + 2000);
    if (!IsProductCAE() && !IsProductViewer()) text = cow_String("R") + text;
    if (type >= TypeExtendedDevelopment && type <= TypeExtended) text += "x";
    cow_String tag;
    if (type == TypeGenMaint || type == TypeReserved || type == TypeExtended) {
        if (update > 1) tag = cow_String("HF") + Decimal(update - 1);
    } else {
        tag = ReleaseSuffix(type, update, suffix);
    }
    if (!tag.Empty()) text += cow_String(" ") + tag;
    CopyCut(g_versionNumber, text.CStr());
    return text;
}

cow_String ZORBasUtlVersion::_QNTVersion(bool withType) {
    cow_String text =
        IsCaeStack() || IsProductCAE() ? _QNTVersionShortName() : _QNTVersionLongName();
    if (withType) {
        cow_String suffix = ReleaseSuffix(versionType, 1, "");
        if (!suffix.Empty()) text += cow_String(" ") + suffix;
    }
    return text;
}

cow_String ZORBasUtlVersion::LegacyTitle(bool withBuild) {
    cow_String text = productName + " " + VersionNumber();
    if (developmentMode && withBuild) text += cow_String(", ") + BuildInfo();
    return text;
}

cow_String ZORBasUtlVersion::_QNTTitle(bool withBuild) {
    cow_String text = productName + " " + _QNTVersion(true);
    if (developmentMode && withBuild) text += cow_String(", ") + BuildInfo();
    return text;
}

cow_String ZORBasUtlVersion::checkStackVersion() { return _QNTVersionShortName(); }

bool ZORBasUtlVersion::IsCaeStack() { return std::getenv("SOLVER_PATH_BASE") != nullptr; }

cow_String ZORBasUtlVersion::Sequence() {
    const char* sequence = std::getenv("VELDOR_SEQ");
    return cow_String(sequence ? sequence : "");
}

cow_String ZORBasUtlVersion::BuildInfo() {
    cow_String text;
    if (!developmentMode) return text;
    cow_String sequence = Sequence();
    cow_String date, tag;
    if (sequence.Length() > 10) date = sequence.Substr(5, 10);
    int blank = sequence.Find(" ");
    if (blank >= 0) tag = sequence.Substr(blank + 1, sequence.Length());
    const char* ws = std::getenv("ZOR_WS");
    const char* parent = std::getenv("ZOR_PARENT");
    if (ws && parent && std::strcmp(ws, parent) != 0) {
        text = cow_String("Work: ") + PathBaseName(ws);
        if (!tag.Empty()) text += cow_String(" (") + tag + ")";
        return text;
    }
    if (!tag.Empty()) text = cow_String("Snapshot: ") + tag;
    if (!date.Empty()) text += cow_String(" ( ") + date + " )";
    return text;
}

const char* ZORBasUtlVersion::BuildInfoCStr() { return g_buildInfo; }
const char* ZORBasUtlVersion::ReleaseInfoCStr() { return g_releaseInfo; }

void ZORBasUtlVersion::InitReleaseInfo() {
    CopyCut(g_releaseInfo, Instance()._QNTVersion(false).CStr());
}
void ZORBasUtlVersion::InitBuildInfo() { CopyCut(g_buildInfo, Sequence().CStr()); }

const char* ZORBasUtlVersion::VeldorSnapshot() {
    if (g_snapshot[0]) return g_snapshot;
    const char* install = std::getenv("PLXInstallPath");
    if (!install) return g_snapshot;
    cow_String paths(install);
    int from = 0;
    while (from <= paths.Length()) {
        int end = paths.Find(";", from);
        if (end < 0) end = paths.Length();
        cow_String entry = paths.Substr(from, end);
        ScanBranchInfo(entry + "/win_b64/resources/zorBranchInfo/" + kBranchInfoFile);
        from = end + 1;
    }
    return g_snapshot;
}

const char* ZORBasUtlVersion::BuildCommitCStr() { return ZORBasBuildStampCommit; }

float ZORBasUtlVersion::InternalVersionId() { return InternalId(kMinor); }
float ZORBasUtlVersion::PreviousInternalVersionId() { return InternalId(kMinor) - 0.1f; }
cow_String ZORBasUtlVersion::InternalVersion() { return InternalText(kMinor); }
cow_String ZORBasUtlVersion::PreviousInternalVersion() { return InternalText(kMinor - 1); }

void ZORBasUtlVersion::SetExecutableName(const cow_String& path) {
    executableName = PathBaseName(path.CStr());
}

bool ZORBasUtlVersion::InVeldorKernel() const {
    static const char* const kKernels[3] = {"vldcaek", "vldvwrk", "kelpcaek_vldmain"};
    return NameIn(executableName, kKernels);
}
bool ZORBasUtlVersion::InVeldorGui() const {
    static const char* const kGuis[3] = {"vldcaeg", "vldvwrg", "kelpcaeg_vldmain"};
    return NameIn(executableName, kGuis);
}
