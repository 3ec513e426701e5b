// Which release of the suite is running: the version number in its written forms, the titles of
// windows and reports, the build identity of a development snapshot, and whether this process is a
// kernel or a GUI executable. One instance per process (omi_Singleton), built from the constants
// stamped in at build time, a few environment variables and the framework's packaging names.
// Nothing is locked: the three 80-byte C-string buffers are process-wide and rewritten by every
// number-building call on any thread. The flat C entries are in ZORBasUtlVersion_C.h.
#pragma once

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/base/omi_Singleton.h"
#include "zorbas/cow/cow_String.h"

class ZORBAS_API ZORBasUtlVersion : public omi_Singleton<ZORBasUtlVersion>,
                                    public mem_AllocationOperators {
  public:
    // The release-type values. 6 is reserved and has no text; 7, 8 and 9 are the extended forms.
    enum Type : int {
        TypeCustom = 0,
        TypeDevelopment = 1,
        TypeGenMaint = 2,
        TypeIntermediate = 3,
        TypeMaintenance = 4,
        TypePre = 5,
        TypeReserved = 6,
        TypeExtendedDevelopment = 7,
        TypeExtendedPre = 8,
        TypeExtended = 9,
    };
    // The release-type text of a type ("" for the reserved and unknown ones) and whether debug
    // information is enabled for it.
    static const char* TypeText(int type);
    static bool TypeHasDebugInfo(int type);
    // The flag of the build's own type (maintenance), whatever the current type field holds.
    static bool GetDebugInfoEnabledForVersionType();

    ~ZORBasUtlVersion() = default;

    static int MajorVersion();
    static int MinorVersion();
    static int UpdateVersion();
    static int CopyrightYear();
    static cow_String PythonVersion();

    // The legacy number of this release and the current type: "6.19-MNT".
    cow_String VersionNumber();
    // The version-number buffer as the last number-building call on any thread left it.
    static const char* VersionNumberCStr();
    // The legacy form ("6.14-MNT") when major < 7 and minor < 15, otherwise the year form
    // ("R2019 HF2", "R2019x (DEV)"). Also copies the result into the version-number buffer. The
    // legacy form asserts on an undefined type and on a text above 8 bytes, the width of the
    // version record of the suite's results file.
    cow_String VersionNumberFromValues(int major, int minor, int update, int type,
                                       const char* suffix);
    cow_String LegacyTitle(bool withBuild);
    // The packaging name (short for a CAE stack or product, long otherwise), with the release
    // suffix " (MNT)" when withType.
    cow_String _QNTVersion(bool withType);
    cow_String _QNTTitle(bool withBuild);
    cow_String checkStackVersion();

    static bool IsCaeStack();      // SOLVER_PATH_BASE is set
    static cow_String Sequence();  // VELDOR_SEQ, or ""
    // Empty unless VELDOR_DEVL_MODE was exactly "TRUE" when the instance was made: "Work: <ws>
    // (<tag>)" in a private work area, otherwise "Snapshot: <tag> ( <date> )" from VELDOR_SEQ.
    cow_String BuildInfo();
    static const char* BuildInfoCStr();
    static const char* ReleaseInfoCStr();
    // Fill the release buffer from _QNTVersion(false) and the build buffer from Sequence(), cut
    // to 79 characters. Process identity calls them at its start.
    static void InitReleaseInfo();
    static void InitBuildInfo();
    // The snapshot of the first installation under PLXInstallPath whose branch information file
    // names one; later hits overwrite as far as they reach. Kept once found; "" when none.
    static const char* VeldorSnapshot();

    // The git commit the library was built from ("<12 hex digits>", "-dirty" appended when the
    // tree had changes), or "" when it was built outside a git work tree.
    static const char* BuildCommitCStr();

    // 61.9 and 61.8 for this release; "61.9" and "61.8" as text.
    static float InternalVersionId();
    static float PreviousInternalVersionId();
    static cow_String InternalVersion();
    static cow_String PreviousInternalVersion();

    cow_String ProductName() const { return productName; }
    void SetProductName(const cow_String& name) { productName = name; }
    void SetProductCAE() { productName = "Veldor/CAE"; }
    void SetProductViewer() { productName = "Veldor/Viewer"; }
    bool IsProductCAE() const { return productName == "Veldor/CAE"; }
    bool IsProductViewer() const { return productName == "Veldor/Viewer"; }
    cow_String ExecutableName() const { return executableName; }
    // Stores the base name of `path`: its last component without the extension.
    void SetExecutableName(const cow_String& path);
    bool InVeldorKernel() const;
    bool InVeldorGui() const;

    int VersionType() const { return versionType; }
    // For builds that are not maintenance builds (and for tests of the predicates).
    void SetVersionType(int type) { versionType = type; }
    bool CustomRelease() const { return versionType == TypeCustom; }
    bool DevelopmentRelease() const { return versionType == TypeDevelopment; }
    bool GenMaintRelease() const { return versionType == TypeGenMaint; }
    bool IntermediateRelease() const { return versionType == TypeIntermediate; }
    bool MaintenanceRelease() const { return versionType == TypeMaintenance; }
    bool Prerelease() const { return versionType == TypePre; }
    bool ExtendedDevelopment() const { return versionType == TypeExtendedDevelopment; }
    bool ExtendedPrerelease() const { return versionType == TypeExtendedPre; }
    bool ExtendedRelease() const { return versionType == TypeExtended; }
    bool Extended() const { return versionType >= TypeExtendedDevelopment && versionType <= 9; }
    bool DevelopmentMode() const { return developmentMode; }

  private:
    friend class omi_Singleton<ZORBasUtlVersion>;
    ZORBasUtlVersion();
    cow_String _QNTVersionShortName() const { return shortName; }
    cow_String _QNTVersionLongName() const { return longName; }

    int versionType;
    cow_String productName;
    cow_String executableName;
    cow_String shortName;
    cow_String longName;
    bool developmentMode;
};

extern template class omi_SingletonBase<ZORBasUtlVersion>;
extern template class omi_Singleton<ZORBasUtlVersion>;
