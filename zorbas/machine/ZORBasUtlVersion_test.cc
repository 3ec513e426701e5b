// The version singleton: number forms against the release's own examples, the build identity from
// the environment, the snapshot search over installation directories, and the flat entries' two
// buffer rules (checked byte by byte, since callers in other languages read the raw buffer).
#include "zorbas/machine/ZORBasUtlVersion.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "companions/alloc/omi_SingletonRegistry.h"
#include "companions/framework/PLXError.h"
#include "zorbas/frame/ZORBasShared.h"  // up a floor: the end work must finalize the version
#include "zorbas/machine/ZORBasUtlVersion_C.h"

extern "C" int ZORBasVersionFromC(char* out, int outLen);

namespace {

ZORBasUtlVersion& V() { return omi_Singleton<ZORBasUtlVersion>::Instance(); }

// Sets (or with null unsets) an environment variable for the scope, restoring the old value.
class ScopedEnv {
  public:
    ScopedEnv(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name)) old_ = old, had_ = true;
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~ScopedEnv() {
        if (had_)
            setenv(name_.c_str(), old_.c_str(), 1);
        else
            unsetenv(name_.c_str());
    }

  private:
    std::string name_, old_;
    bool had_ = false;
};

// A fresh instance, so that the constructor reads VELDOR_DEVL_MODE again.
ZORBasUtlVersion& Remade() {
    omi_SingletonBase<ZORBasUtlVersion>::Finalize();
    return V();
}

std::string LongName() { return PLYSysGetPackagingVersionLongName().CastToCharPtr(); }
std::string ShortName() { return PLYSysGetPackagingVersionShortName().CastToCharPtr(); }

TEST(Version, ReleaseConstantsAndInternalIds) {
    EXPECT_EQ(ZORBasUtlVersion::MajorVersion(), 6);
    EXPECT_EQ(ZORBasUtlVersion::MinorVersion(), 19);
    EXPECT_EQ(ZORBasUtlVersion::UpdateVersion(), 1);
    EXPECT_EQ(ZORBasUtlVersion::CopyrightYear(), 2019);
    EXPECT_STREQ(ZORBasUtlVersion::PythonVersion().CStr(), "2.7.3");
    EXPECT_FLOAT_EQ(ZORBasUtlVersion::InternalVersionId(), 61.9f);
    EXPECT_FLOAT_EQ(ZORBasUtlVersion::PreviousInternalVersionId(), 61.8f);
    EXPECT_STREQ(ZORBasUtlVersion::InternalVersion().CStr(), "61.9");
    EXPECT_STREQ(ZORBasUtlVersion::PreviousInternalVersion().CStr(), "61.8");
}

TEST(Version, VersionNumberIsTheEightByteLegacyFormAndFillsTheBuffer) {
    cow_String number = V().VersionNumber();
    EXPECT_STREQ(number.CStr(), "6.19-MNT");
    EXPECT_STREQ(ZORBasUtlVersion::VersionNumberCStr(), "6.19-MNT");
    V().VersionNumberFromValues(6, 19, 3, 2, "");
    EXPECT_STREQ(ZORBasUtlVersion::VersionNumberCStr(), "R2019 HF2") << "rewritten by each call";
}

struct FormCase {
    int major, minor, update, type;
    const char* suffix;
    const char* plain;  // the plain product
    const char* cae;    // the CAE and Viewer products
};

TEST(Version, LegacyAndYearForms) {
    const FormCase cases[] = {
        {6, 14, 1, 4, "", "6.14-MNT", "6.14-MNT"},  // legacy: major < 7 and minor < 15
        {6, 15, 1, 4, "", "R2015 (MNT)", "2015 (MNT)"},
        {7, 14, 1, 4, "", "R2014 (MNT)", "2014 (MNT)"},
        {6, 19, 1, 2, "", "R2019", "2019"},
        {6, 19, 3, 2, "", "R2019 HF2", "2019 HF2"},
        {6, 19, 3, 9, "", "R2019x HF2", "2019x HF2"},
        {6, 19, 3, 6, "", "R2019 HF2", "2019 HF2"},
        {6, 19, 1, 4, "", "R2019 (MNT)", "2019 (MNT)"},
        {6, 19, 1, 7, "", "R2019x (DEV)", "2019x (DEV)"},  // 7 counts as 1
        {6, 19, 2, 8, "", "R2019x (PR2)", "2019x (PR2)"},  // 8 counts as 5
        {6, 19, 2, 3, "b", "R2019 (IP2b)", "2019 (IP2b)"},
        {6, 19, -1, 5, nullptr, "R2019 (PR)", "2019 (PR)"},
        {6, 19, 4, 0, "", "R2019", "2019"},
        // Legacy, type by type.
        {6, 14, 1, 0, "", "6.14-", "6.14-"},
        {6, 14, 1, 1, "", "6.14-DEV", "6.14-DEV"},
        {6, 14, 0, 2, "", "6.14", "6.14"},
        {6, 14, 3, 6, "", "6.14-3", "6.14-3"},
        {6, 1, 1, 3, "a", "6.1-IP1a", "6.1-IP1a"},
        {6, 14, -1, 5, "", "6.14-PR", "6.14-PR"},
        {6, 14, 1, 7, "", "6.14-EFR", "6.14-EFR"},
        {6, 14, 2, 8, "", "6.14-PF2", "6.14-PF2"},
        {6, 14, 0, 9, "", "6.14-EF", "6.14-EF"},
        {6, 14, 2, 9, "", "6.14-EF2", "6.14-EF2"},
    };
    ZORBasUtlVersion& v = V();
    for (const FormCase& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << c.major << "." << c.minor << " update " << c.update << " type " << c.type);
        v.SetProductName("Veldor");
        EXPECT_STREQ(v.VersionNumberFromValues(c.major, c.minor, c.update, c.type, c.suffix).CStr(),
                     c.plain);
        EXPECT_STREQ(ZORBasUtlVersion::VersionNumberCStr(), c.plain);
        v.SetProductCAE();
        EXPECT_STREQ(v.VersionNumberFromValues(c.major, c.minor, c.update, c.type, c.suffix).CStr(),
                     c.cae);
        v.SetProductViewer();
        EXPECT_STREQ(v.VersionNumberFromValues(c.major, c.minor, c.update, c.type, c.suffix).CStr(),
                     c.cae);
    }
    v.SetProductName("Veldor");
}

TEST(VersionDeathTest, LegacyFormAssertsOnUnknownTypeAndOnMoreThanEightBytes) {
    EXPECT_DEATH(V().VersionNumberFromValues(6, 14, 1, 10, ""),
                 "Assertion failed: \"The Version Type classification is not defined.\" == 0");
    EXPECT_DEATH(V().VersionNumberFromValues(6, 14, 12, 5, ""),
                 "Assertion failed: \"The Version string supports up to 8 bytes; the maximum for "
                 "the version record of the results file.\" == 0");
    EXPECT_DEATH(V().VersionNumberFromValues(6, 14, 1, -1, ""), "classification is not defined");
}

TEST(Version, TypeTableAndPredicates) {
    const char* texts[] = {"", "DEV", "", "IP", "MNT", "PR", "", "EFR", "PF", "EF"};
    const bool debug[] = {true, true, false, false, true, false, false, true, false, false};
    for (int t = 0; t < 10; ++t) {
        EXPECT_STREQ(ZORBasUtlVersion::TypeText(t), texts[t]) << t;
        EXPECT_EQ(ZORBasUtlVersion::TypeHasDebugInfo(t), debug[t]) << t;
    }
    EXPECT_STREQ(ZORBasUtlVersion::TypeText(11), "");

    ZORBasUtlVersion& v = V();
    EXPECT_EQ(v.VersionType(), 4);
    EXPECT_TRUE(v.MaintenanceRelease());
    for (int t = 0; t < 10; ++t) {
        v.SetVersionType(t);
        bool predicates[] = {v.CustomRelease(),
                             v.DevelopmentRelease(),
                             v.GenMaintRelease(),
                             v.IntermediateRelease(),
                             v.MaintenanceRelease(),
                             v.Prerelease(),
                             false,
                             v.ExtendedDevelopment(),
                             v.ExtendedPrerelease(),
                             v.ExtendedRelease()};
        for (int p = 0; p < 10; ++p) EXPECT_EQ(predicates[p], p == t && t != 6) << t << " " << p;
        EXPECT_EQ(v.Extended(), t >= 7) << t;
        EXPECT_EQ(ZORBasUtlVersion_ExtendedRelease(), t >= 7 ? 1 : 0) << t;
        EXPECT_TRUE(ZORBasUtlVersion::GetDebugInfoEnabledForVersionType()) << "row 4, always";
    }
    v.SetVersionType(4);
}

TEST(Version, PackagingNamesTitlesAndStack) {
    ScopedEnv cae("SOLVER_PATH_BASE", nullptr);
    ZORBasUtlVersion& v = V();
    EXPECT_STREQ(v._QNTVersion(false).CStr(), LongName().c_str());
    EXPECT_STREQ(v._QNTVersion(true).CStr(), (LongName() + " (MNT)").c_str());
    EXPECT_STREQ(v.checkStackVersion().CStr(), ShortName().c_str());
    EXPECT_STREQ(v.LegacyTitle(true).CStr(), "Veldor 6.19-MNT");
    EXPECT_STREQ(v._QNTTitle(true).CStr(), ("Veldor " + LongName() + " (MNT)").c_str());
    v.SetVersionType(2);
    EXPECT_STREQ(v._QNTVersion(true).CStr(), LongName().c_str()) << "no suffix for type 2";
    v.SetVersionType(4);
    v.SetProductCAE();
    EXPECT_STREQ(v._QNTVersion(false).CStr(), ShortName().c_str());
    EXPECT_TRUE(v.IsProductCAE());
    EXPECT_FALSE(v.IsProductViewer());
    v.SetProductName("Veldor");
    EXPECT_FALSE(ZORBasUtlVersion::IsCaeStack());
    {
        ScopedEnv stack("SOLVER_PATH_BASE", "/opt/solvers");
        EXPECT_TRUE(ZORBasUtlVersion::IsCaeStack());
        EXPECT_STREQ(v._QNTVersion(false).CStr(), ShortName().c_str());
    }
}

TEST(Version, BuildInfoOnlyInDevelopmentMode) {
    ScopedEnv seq("VELDOR_SEQ", "L2019Nov23 nightly r7");
    ScopedEnv ws("ZOR_WS", nullptr);
    ScopedEnv parent("ZOR_PARENT", nullptr);
    {
        ScopedEnv mode("VELDOR_DEVL_MODE", "true");  // only "TRUE" counts
        EXPECT_FALSE(Remade().DevelopmentMode());
        EXPECT_STREQ(V().BuildInfo().CStr(), "");
        EXPECT_STREQ(V().LegacyTitle(true).CStr(), "Veldor 6.19-MNT");
    }
    ScopedEnv mode("VELDOR_DEVL_MODE", "TRUE");
    ZORBasUtlVersion& v = Remade();
    EXPECT_TRUE(v.DevelopmentMode());
    EXPECT_STREQ(v.BuildInfo().CStr(), "Snapshot: nightly r7 ( Nov23 )");
    EXPECT_STREQ(v.LegacyTitle(true).CStr(), "Veldor 6.19-MNT, Snapshot: nightly r7 ( Nov23 )");
    EXPECT_STREQ(v.LegacyTitle(false).CStr(), "Veldor 6.19-MNT");
    EXPECT_STREQ(v._QNTTitle(true).CStr(),
                 ("Veldor " + LongName() + " (MNT), Snapshot: nightly r7 ( Nov23 )").c_str());
    {
        ScopedEnv w("ZOR_WS", "/home/ana/ws_beam.dir");
        ScopedEnv p("ZOR_PARENT", "/proj/main");
        EXPECT_STREQ(v.BuildInfo().CStr(), "Work: ws_beam (nightly r7)");
        ScopedEnv same("ZOR_PARENT", "/home/ana/ws_beam.dir");
        EXPECT_STREQ(v.BuildInfo().CStr(), "Snapshot: nightly r7 ( Nov23 )")
            << "a work area whose parent is itself is not private";
    }
    {
        ScopedEnv w("ZOR_WS", "/home/ana/ws_beam");
        ScopedEnv p("ZOR_PARENT", "/proj/main");
        ScopedEnv s("VELDOR_SEQ", "L2019Nov23");
        EXPECT_STREQ(v.BuildInfo().CStr(), "Work: ws_beam") << "no tag without a blank";
    }
    {
        ScopedEnv s("VELDOR_SEQ", "0123456789");
        EXPECT_STREQ(v.BuildInfo().CStr(), "") << "ten characters: no date; no blank: no tag";
        ScopedEnv d("VELDOR_SEQ", "01234567890");
        EXPECT_STREQ(v.BuildInfo().CStr(), " ( 56789 )") << "a date without a tag";
        ScopedEnv t("VELDOR_SEQ", "abc def");
        EXPECT_STREQ(v.BuildInfo().CStr(), "Snapshot: def");
    }
    unsetenv("VELDOR_DEVL_MODE");
    Remade();
}

TEST(Version, ReleaseAndBuildBuffers) {
    ZORBasUtlVersion::InitReleaseInfo();
    EXPECT_STREQ(ZORBasUtlVersion::ReleaseInfoCStr(), LongName().c_str());
    std::string longSeq(100, 's');
    longSeq[3] = ' ';
    {
        ScopedEnv seq("VELDOR_SEQ", longSeq.c_str());
        ZORBasUtlVersion::InitBuildInfo();
        EXPECT_EQ(std::string(ZORBasUtlVersion::BuildInfoCStr()), longSeq.substr(0, 79));
    }
    ScopedEnv none("VELDOR_SEQ", nullptr);
    EXPECT_STREQ(ZORBasUtlVersion::Sequence().CStr(), "");
    ZORBasUtlVersion::InitBuildInfo();
    EXPECT_STREQ(ZORBasUtlVersion::BuildInfoCStr(), "");
}

TEST(Version, ExecutableNamesOfKernelAndGui) {
    ZORBasUtlVersion& v = V();
    struct {
        const char* path;
        const char* name;
        bool kernel, gui;
    } cases[] = {
        {"/opt/veldor/bin/VLDCAEK.exe", "VLDCAEK", true, false},
        {"vldvwrk", "vldvwrk", true, false},
        {"C:\\veldor\\kelpcaek_vldmain.exe", "kelpcaek_vldmain", true, false},
        {"/opt/vldcaeg", "vldcaeg", false, true},
        {"VldVwrG.exe", "VldVwrG", false, true},
        {"/opt/kelpcaeg_vldmain", "kelpcaeg_vldmain", false, true},
        {"/opt/vldcaek2", "vldcaek2", false, false},
        {"/opt/solver.vldcaek", "solver", false, false},
    };
    for (const auto& c : cases) {
        v.SetExecutableName(c.path);
        EXPECT_STREQ(v.ExecutableName().CStr(), c.name) << c.path;
        EXPECT_EQ(v.InVeldorKernel(), c.kernel) << c.path;
        EXPECT_EQ(ZORBasUtlVersion_InVeldorKernel(), c.kernel) << c.path;
        EXPECT_EQ(v.InVeldorGui(), c.gui) << c.path;
        EXPECT_EQ(ZORBasUtlVersion_InVeldorGui(), c.gui) << c.path;
    }
    v.SetExecutableName("");
}

// An installation directory whose branch information file has `third` as its third line.
std::string Installation(const std::string& root, const char* name, const char* third) {
    std::string dir = root + "/" + name;
    std::string path = dir;
    for (const char* part :
         {"", "/win_b64", "/win_b64/resources", "/win_b64/resources/zorBranchInfo"})
        mkdir((dir + part).c_str(), 0755);
    std::ofstream(dir + "/win_b64/resources/zorBranchInfo/LINEr7.xml")
        << "<?xml version=\"1.0\"?>\n<branch>\n"
        << third << "\n</branch>\n";
    return dir;
}

// The only test that touches the snapshot: once found, it is kept for the process's life.
TEST(Version, SnapshotSearchesEveryInstallationAndKeepsItsAnswer) {
    char root[] = "/tmp/zorbas_version_XXXXXX";
    ASSERT_NE(mkdtemp(root), nullptr);
    std::string noKey = Installation(root, "nokey", "  <line name=\"r7\" build=\"x\"/>");
    std::string first = Installation(root, "first", "  <line snapshot=\"r7_2019_long\" x=\"1\"/>");
    std::string second = Installation(root, "second", "<line snapshot=\"b26\"/>");
    {
        ScopedEnv unset("PLXInstallPath", nullptr);
        EXPECT_STREQ(ZORBasUtlVersion::VeldorSnapshot(), "");
    }
    {
        ScopedEnv missing("PLXInstallPath", (std::string(root) + "/absent;" + noKey).c_str());
        EXPECT_STREQ(ZORBasUtlVersion::VeldorSnapshot(), "") << "absent files, no attribute";
    }
    {
        ScopedEnv both("PLXInstallPath", (noKey + ";" + first + ";" + second).c_str());
        EXPECT_STREQ(ZORBasUtlVersion::VeldorSnapshot(), "b262019_long")
            << "the later hit overwrites as far as it reaches";
    }
    ScopedEnv other("PLXInstallPath", second.c_str());
    EXPECT_STREQ(ZORBasUtlVersion::VeldorSnapshot(), "b262019_long") << "kept";
    std::string cleanup = std::string("rm -rf ") + root;
    EXPECT_EQ(std::system(cleanup.c_str()), 0);
}

// The flat entries' buffers are pre-filled with '#' so that a byte written or skipped shows.
TEST(VersionFlat, ShortRuleCopiesTwentyAndTerminatesAtTheFullLength) {
    ScopedEnv cae("SOLVER_PATH_BASE", nullptr);
    ScopedEnv dbg("VLD_DBG_UTI", nullptr);
    const std::string text = LongName();
    char buf[64];
    std::memset(buf, '#', sizeof buf);
    EXPECT_EQ(ZORBasUtlVersion_VersionNumber(sizeof buf, buf), buf);
    size_t shown = std::min<size_t>(text.size(), 20);
    EXPECT_EQ(std::string(buf), text.substr(0, shown));
    EXPECT_EQ(buf[text.size()], '\0');
    for (size_t i = shown + 1; i < text.size(); ++i) EXPECT_EQ(buf[i], '#') << i;
    EXPECT_EQ(buf[text.size() + 1], '#');

    std::memset(buf, '#', sizeof buf);
    const std::string shortText = ShortName();
    {
        ScopedEnv on("VLD_DBG_UTI", "");
        testing::internal::CaptureStderr();
        ZORBasUtlVersion_CheckStackVersion(static_cast<int>(shortText.size()) + 1, buf);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "ZORBasUtlVersion_CheckStackVersion() -> '" + shortText + "'\n");
    }
    EXPECT_STREQ(buf, shortText.c_str());

    std::memset(buf, '#', sizeof buf);
    testing::internal::CaptureStderr();
    ZORBasUtlVersion_VersionNumber(static_cast<int>(text.size()), buf);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ZORBasUtlVersion_VersionNumber: bufLen too small");
    testing::internal::CaptureStderr();
    ZORBasUtlVersion_CheckStackVersion(static_cast<int>(shortText.size()), buf);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ZORBasUtlVersion_CheckStackVersion: bufLen too small");
    EXPECT_EQ(std::string(buf, sizeof buf), std::string(sizeof buf, '#')) << "left alone";
}

TEST(VersionFlat, PaddedRuleFillsTheRestWithZeros) {
    ScopedEnv dbg("VLD_DBG_UTI", "1");  // only the short rule echoes
    char buf[32];
    std::memset(buf, '#', sizeof buf);
    testing::internal::CaptureStderr();
    ZORBasUtlVersion_VersionFromValues(6, 19, 3, true, sizeof buf, buf);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_STREQ(buf, "R2019x HF2");
    for (size_t i = std::strlen(buf); i < sizeof buf; ++i) EXPECT_EQ(buf[i], '\0') << i;
    ZORBasUtlVersion_VersionFromValues(6, 19, 3, false, sizeof buf, buf);
    EXPECT_STREQ(buf, "R2019 HF2");
    ZORBasUtlVersion_VersionFromValues(6, 14, 3, false, sizeof buf, buf);
    EXPECT_STREQ(buf, "6.14-3");
    ZORBasUtlVersion_LegacyTitle(sizeof buf, buf);
    EXPECT_STREQ(buf, "Veldor 6.19-MNT");

    char title[80];
    ZORBasUtlVersion_QNTTitle(sizeof title, title);
    EXPECT_STREQ(title, ("Veldor " + LongName() + " (MNT)").c_str());

    std::memset(buf, '#', sizeof buf);
    testing::internal::CaptureStderr();
    ZORBasUtlVersion_LegacyTitle(15, buf);  // "Veldor 6.19-MNT" is 15 long
    ZORBasUtlVersion_VersionFromValues(6, 19, 3, false, 9, buf);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "bufLen too smallbufLen too small");
    EXPECT_EQ(std::string(buf, sizeof buf), std::string(sizeof buf, '#'));
    EXPECT_EQ(ZORBasUtlVersion_MajorVersion() * 10000 + ZORBasUtlVersion_MinorVersion() * 100 +
                  ZORBasUtlVersion_UpdateVersion(),
              61901);
}

TEST(VersionFlat, CallableFromC) {
    char out[80] = {};
    EXPECT_EQ(ZORBasVersionFromC(out, sizeof out), 61901);
    EXPECT_STREQ(out, "R2019x HF2|Veldor 6.19-MNT");
}

TEST(VersionDeathTest, TheLibrarysEndFinalizesTheVersion) {
    EXPECT_EXIT(
        {
            V();
            omi_SingletonRegistry* registry = omi_SingletonRegistry::Instance();
            if (!registry || !registry->Find(typeid(ZORBasUtlVersion).name())) std::exit(10);
            int use = 0;
            ZORBasShared_finalize(use);
            ZORBasShared_initialize(use);
            registry = omi_SingletonRegistry::Instance();
            if (registry && registry->Find(typeid(ZORBasUtlVersion).name())) std::exit(11);
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(Version, BuildCommitIsStampedWhenBuiltFromGit) {
    std::string commit = ZORBasUtlVersion::BuildCommitCStr();
    const char* source = std::getenv("ZORBAS_TEST_DATA");
    ASSERT_NE(source, nullptr);
    struct stat st;
    bool inGit = stat((std::string(source) + "/.git").c_str(), &st) == 0;
    if (!inGit) {
        EXPECT_EQ(commit, "");
        return;
    }
    ASSERT_GE(commit.size(), 12u);
    EXPECT_EQ(commit.find_first_not_of("0123456789abcdef"),
              12u == commit.size() ? std::string::npos : 12u);
}

}  // namespace
