#include "hdbplatform/DynLinkLibrary.h"

#include <gtest/gtest.h>

namespace {

// A module keeps its state as a static object, as an extension library does.
AFX_EXTENSION_MODULE g_testModule;

TEST(DynLinkLibrary, RegistersUntilTheModuleTerminates) {
    ASSERT_TRUE(AfxInitExtensionModule(g_testModule, nullptr));
    EXPECT_TRUE(g_testModule.bInitialized);
    const std::size_t before = CDynLinkLibrary::RegisteredCount();

    CDynLinkLibrary* registration = new CDynLinkLibrary(g_testModule);
    EXPECT_EQ(CDynLinkLibrary::RegisteredCount(), before + 1);
    // The module is named after the file that holds its state: this program.
    EXPECT_EQ(registration->GetModuleName(), L"test_framework");
    EXPECT_EQ(CDynLinkLibrary::FindByModuleName(L"TEST_FRAMEWORK"), registration);
    EXPECT_EQ(CDynLinkLibrary::FindByModuleName(L"no_such_module"), nullptr);
    EXPECT_EQ(&registration->GetExtensionModule(), &g_testModule);

    static AFX_EXTENSION_MODULE otherModule;
    AfxInitExtensionModule(otherModule, nullptr);
    new CDynLinkLibrary(otherModule, TRUE);
    EXPECT_EQ(CDynLinkLibrary::RegisteredCount(), before + 2);

    AfxTermExtensionModule(g_testModule);
    EXPECT_EQ(CDynLinkLibrary::RegisteredCount(), before + 1);
    EXPECT_EQ(CDynLinkLibrary::FindByModuleName(L"test_framework")->m_bSystem, TRUE);
    AfxTermExtensionModule(otherModule);
    EXPECT_EQ(CDynLinkLibrary::RegisteredCount(), before);
}

} // namespace
