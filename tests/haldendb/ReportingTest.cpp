// Judging result codes, composing reports from error records, the severity
// map and the deadlock retry rule, and the report language.
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace hdbtest;

namespace {

constexpr wchar_t ErrorsInCommandLine[] = L"HResult of 0x80040e14 (-2147217900) returned\r\n";
constexpr wchar_t NoMoreInformation[] = L"Couldn't get any additional error information.";

class ReportingTest : public ::testing::Test {
protected:
    // Reports are English unless a test says otherwise.
    ThreadLanguage english{MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US)};
    ReportingObject object;
    ErrorSource source;

    // Error objects a test left unread must not outlive it.
    void TearDown() override { SetErrorInfo(0, nullptr); }

    bool Check(HRESULT hr, const wchar_t* detail = L"") {
        return object.CheckError(hr, 15510, &source, IID_ICommandText, TestPosition(),
                                 CBasicStringView<wchar_t>(detail));
    }
    const Report& OnlyError() const {
        EXPECT_EQ(object.errors.reports.size(), 1u);
        return object.errors.reports.front();
    }
};

TEST_F(ReportingTest, ErrorsOccurredCountsAsFailureButOtherSuccessCodesDoNot) {
    EXPECT_FALSE(Check(S_OK));
    EXPECT_FALSE(Check(S_FALSE));
    EXPECT_FALSE(Check(DB_S_ENDOFROWSET));
    EXPECT_TRUE(object.errors.reports.empty());

    EXPECT_TRUE(Check(DB_S_ERRORSOCCURRED));
    const Report& report = OnlyError();
    EXPECT_EQ(report.caption, L"OLE DB Error: Can't execute command");
    EXPECT_EQ(report.message,
              std::wstring(L"HResult of 0x40eda (265946) returned\r\n") + NoMoreInformation);
    EXPECT_EQ(report.hr, DB_S_ERRORSOCCURRED);
    EXPECT_EQ(report.function, L"void __cdecl TestCase(void)");
}

TEST_F(ReportingTest, SuccessLeavesTheLastErrorTextsAlone) {
    LeaveErrorRecords({Record(L"first", L"P", L"42000")});
    Check(DB_E_ERRORSINCOMMAND);
    LeaveErrorRecords({Record(L"second", L"P", L"42000")});
    EXPECT_FALSE(Check(S_FALSE));
    EXPECT_EQ(std::wstring(object.ErrorDescriptionText()), L"Error Description : first\r\n");
}

TEST_F(ReportingTest, RecordsComposeFirstSourceAllDescriptionsLastState) {
    LeaveErrorRecords({Record(L"a", L"", L"42000"), Record(L"b", L"Provider One", L"08S01"),
                       Record(L"c", L"Provider Two", L"")});
    EXPECT_TRUE(Check(DB_E_ERRORSINCOMMAND, L"SELECT 1"));
    EXPECT_EQ(OnlyError().message, std::wstring(ErrorsInCommandLine) +
                                       L"Error Source: Provider One\r\n"
                                       L"Error Description : a\r\nb\r\nc\r\n"
                                       L"Couldn't detect error severity - SQL State: 08S01\r\n"
                                       L"\r\nSELECT 1");
}

TEST_F(ReportingTest, StatePrefixDependsOnANonEmptySeverityMap) {
    object.SetErrorSeverityMap(std::make_shared<CBaseOLEDBClass::ErrorSeverityMap>());
    LeaveErrorRecords({Record(L"d", L"", L"42S02")});
    Check(DB_E_ERRORSINCOMMAND);
    object.GetErrorSeverityMap()->emplace(1205, 13);
    LeaveErrorRecords({Record(L"d", L"", L"42S02")});
    Check(DB_E_ERRORSINCOMMAND);
    ASSERT_EQ(object.errors.reports.size(), 2u);
    EXPECT_NE(object.errors.reports[0].message.find(
                  L"Couldn't detect error severity - SQL State: 42S02\r\n"),
              std::wstring::npos);
    EXPECT_NE(object.errors.reports[1].message.find(L"\r\nSQL State: 42S02\r\n"),
              std::wstring::npos);
}

TEST_F(ReportingTest, StateAloneStillCountsAsNothingKnown) {
    LeaveErrorRecords({Record(L"", L"", L"HY000")});
    Check(DB_E_ERRORSINCOMMAND);
    EXPECT_EQ(OnlyError().message, std::wstring(ErrorsInCommandLine) +
                                       L"Couldn't detect error severity - SQL State: HY000\r\n" +
                                       NoMoreInformation);
}

TEST_F(ReportingTest, DetailIsLeftOutWhenTheReportWouldReachItsFullSize) {
    const std::size_t lineLength = std::wcslen(ErrorsInCommandLine) + 2; // plus the separator
    const std::wstring fits(CBaseOLEDBClass::ReportBufferSize - 1 - lineLength, L'x');
    const std::wstring tooLong = fits + L'x';
    object.CheckError(DB_E_ERRORSINCOMMAND, 15510, TestPosition(), fits);
    object.CheckError(DB_E_ERRORSINCOMMAND, 15510, TestPosition(), tooLong);
    ASSERT_EQ(object.errors.reports.size(), 2u);
    EXPECT_EQ(object.errors.reports[0].message, ErrorsInCommandLine + (L"\r\n" + fits));
    EXPECT_EQ(object.errors.reports[1].message, ErrorsInCommandLine + std::wstring(L"\r\n"));
}

TEST_F(ReportingTest, OverlongRecordTextsStayWithinTheirBuffers) {
    LeaveErrorRecords({Record(std::wstring(3000, L'd'), std::wstring(3000, L's'), L"42000"),
                       Record(L"more", L"", L"")});
    Check(DB_E_ERRORSINCOMMAND);
    const std::wstring description(object.ErrorDescriptionText());
    EXPECT_LT(description.size(), CBaseOLEDBClass::TextBufferSize);
    EXPECT_EQ(description.rfind(L"Error Description : ddd", 0), 0u);
}

TEST_F(ReportingTest, FreeTextReportsRepeatTheLastErrorWithoutHResultLine) {
    EXPECT_TRUE(object.OutputError(15531, CBasicStringView<wchar_t>(L"before"), TestPosition()));
    LeaveErrorRecords({Record(L"lost", L"Prov", L"08S01")});
    Check(DB_E_ERRORSINCOMMAND);
    EXPECT_TRUE(object.OutputError(15531, CBasicStringView<wchar_t>(L"again"), TestPosition()));
    EXPECT_TRUE(object.OutputSuccess(15542, CBasicStringView<wchar_t>(L"back"), TestPosition()));
    EXPECT_TRUE(object.OutputError(15531, 15533u, TestPosition()));
    EXPECT_FALSE(object.OutputError(15531, 15499u, TestPosition()));
    EXPECT_FALSE(object.OutputSuccess(15542, 15546u, TestPosition()));

    ASSERT_EQ(object.errors.reports.size(), 4u);
    EXPECT_EQ(object.errors.reports[0].message, L"\r\nbefore");
    EXPECT_EQ(object.errors.reports[0].caption, L"Error");
    EXPECT_EQ(object.errors.reports[0].hr, 0);
    const std::wstring lastError = L"Error Source: Prov\r\nError Description : lost\r\n";
    EXPECT_EQ(object.errors.reports[2].message,
              lastError + L"Couldn't detect error severity - SQL State: 08S01\r\n\r\nagain");
    EXPECT_EQ(object.errors.reports[3].message,
              lastError + L"Couldn't detect error severity - SQL State: 08S01\r\n"
                          L"\r\nData to big for this database column.");
    ASSERT_EQ(object.successes.reports.size(), 1u);
    EXPECT_EQ(object.successes.reports[0].message, lastError + L"\r\nback");
    EXPECT_EQ(object.successes.reports[0].caption, L"Success");
}

TEST_F(ReportingTest, UnknownCaptionAndMissingCallbackAreHarmless) {
    object.CheckError(E_FAIL, 42, TestPosition(), CBasicStringView<wchar_t>());
    EXPECT_EQ(OnlyError().caption, L"Unknown ResourceId\r\nCheck Installation");
    object.SetCallBackForErrorMessages(nullptr, nullptr);
    EXPECT_TRUE(object.CheckError(E_FAIL, 15510, TestPosition(), CBasicStringView<wchar_t>()));
}

TEST_F(ReportingTest, SystemTextOfAResultCodeOrItsNumber) {
    object.DumpErrorHResult(E_FAIL, L"caption", nullptr);
    object.DumpErrorHResult(DB_E_CANCELED, L"caption", nullptr);
    ASSERT_EQ(object.errors.reports.size(), 2u);
    EXPECT_EQ(object.errors.reports[0].message, L"Unspecified error\r\n");
    EXPECT_EQ(object.errors.reports[0].caption, L"caption");
    EXPECT_EQ(object.errors.reports[1].message, L"HResult of -2147217842 returned");
    EXPECT_NE(object.errors.reports[0].line, object.errors.reports[1].line);
}

TEST_F(ReportingTest, GermanThreadsGetGermanReports) {
    ThreadLanguage swissGerman(MAKELANGID(LANG_GERMAN, 0x02));
    Check(DB_E_CANCELED);
    const Report& report = OnlyError();
    EXPECT_EQ(report.caption, L"OLE DB Fehler: Kann das Kommando nicht ausführen");
    EXPECT_EQ(report.message, L"Ein Fehlerwert von 0x80040e4e (-2147217842) wurde zurückgegeben\r\n"
                              L" Keine zusätzlichen Fehlerinformationen vorhanden.");
}

// ---------------------------------------------------------------- severity

class SeverityTest : public ReportingTest {
protected:
    SeverityTest() {
        object.SetErrorSeverityMap(std::make_shared<CBaseOLEDBClass::ErrorSeverityMap>(
            CBaseOLEDBClass::ErrorSeverityMap{{1205, 13}, {824, 24}, {2601, 16}, {3621, 17}}));
    }
    void FailWith(LONG nativeError) {
        LeaveErrorRecords(
            {Record(L"general", L"Prov", L"42000"), Record(L"server", L"", L"", nativeError)});
    }
};

TEST_F(SeverityTest, SevereErrorThrowsAfterTheReportWasDelivered) {
    FailWith(824);
    try {
        Check(DB_E_ERRORSINCOMMAND);
        FAIL() << "no severe_sql_error";
    } catch (const severe_sql_error& error) {
        EXPECT_STREQ(error.what(), "Error Description : general\r\nserver\r\n");
    }
    EXPECT_EQ(object.errors.reports.size(), 1u);
}

TEST_F(SeverityTest, LevelsFromSeventeenThrowAndADeadlockVictimIsRetried) {
    const auto map = object.GetErrorSeverityMap();
    const struct {
        LONG nativeError;
        bool withMap;
        bool throws;
    } cases[] = {{3621, true, true},  {824, true, true},   {2601, true, false},
                 {9999, true, false}, {1205, true, false}, {824, false, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.nativeError);
        object.SetErrorSeverityMap(c.withMap ? map : nullptr);
        FailWith(c.nativeError);
        if (c.throws) {
            EXPECT_THROW(Check(DB_E_ERRORSINCOMMAND), severe_sql_error);
        } else {
            EXPECT_TRUE(Check(DB_E_ERRORSINCOMMAND));
        }
    }
    FailWith(1205);
    EXPECT_TRUE(ReportingObject::CheckNeedRetry(DB_E_ERRORSINCOMMAND, &source, IID_ICommandText));
}

TEST_F(SeverityTest, OnlyADeadlockVictimOfAnErrorWithErrorSupportIsRetried) {
    FailWith(1205);
    EXPECT_FALSE(ReportingObject::CheckNeedRetry(S_FALSE, &source, IID_ICommandText));
    EXPECT_FALSE(ReportingObject::CheckNeedRetry(E_FAIL, nullptr, IID_ICommandText));
    source.supports = S_FALSE;
    EXPECT_FALSE(ReportingObject::CheckNeedRetry(E_FAIL, &source, IID_ICommandText));
    source.supports = S_OK;
    FailWith(1204);
    EXPECT_FALSE(ReportingObject::CheckNeedRetry(E_FAIL, &source, IID_ICommandText));
    FailWith(1205);
    EXPECT_TRUE(ReportingObject::CheckNeedRetry(DB_S_ERRORSOCCURRED, &source, IID_ICommandText));
}

TEST_F(SeverityTest, ProviderWithoutErrorSupportGivesNoRecords) {
    source.offersSupport = false;
    FailWith(824);
    EXPECT_TRUE(Check(DB_E_ERRORSINCOMMAND));
    EXPECT_EQ(OnlyError().message, std::wstring(ErrorsInCommandLine) + NoMoreInformation);
    EXPECT_EQ(source.references, 0u);
}

} // namespace
