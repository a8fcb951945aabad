#include "haldendb/ExtCommandClass.h"

#include <boost/lexical_cast.hpp>

#include <initializer_list>

namespace {

using View = CBasicStringView<wchar_t>;

constexpr wchar_t InsertIntoText[] = L"INSERT INTO ";
constexpr wchar_t ValuesText[] = L" VALUES (";
constexpr wchar_t DefaultValuesText[] = L" DEFAULT VALUES";

const View InsertInto = HdbLiteralView(InsertIntoText);
const View Values = HdbLiteralView(ValuesText);
const View DefaultValues = HdbLiteralView(DefaultValuesText);

// The pieces one after the other, assembled with one allocation.
CBasicString<wchar_t> Join(std::initializer_list<View> pieces) {
    size_t length = 0;
    for (const View& piece : pieces)
        length += piece.size();
    CBasicString<wchar_t> text;
    text.reserve(length);
    for (const View& piece : pieces)
        text.append(piece.data(), piece.size());
    return text;
}

// `keyword` + `piece`, or nothing when the piece is empty.
View Keyword(const View& piece, const View& keyword) {
    return piece.empty() ? View() : keyword;
}

// `head` (the keyword and what goes before the fields), the fields between
// the optimiser's hints, the table, the optional WHERE and ORDER BY, and the
// optimiser's closing hint.
CBasicString<wchar_t> SelectStatement(const CCommandClass& command, const View& head,
                                      const View& table, const View& fields, const View& where,
                                      const View& orderBy) {
    const CBasicString<wchar_t> before = command.GetOptimizeCommandBeforeFieldStatement();
    const CBasicString<wchar_t> after = command.GetOptimizeCommandAfterFieldStatement();
    const CBasicString<wchar_t> end = command.GetOptimizeCommandAfterSelectStatement();
    return Join({head, before, fields, after, L" FROM ", table, Keyword(where, L" WHERE "), where,
                 Keyword(orderBy, L" ORDER BY "), orderBy, end});
}

} // namespace

CExtCommandClass::CExtCommandClass(const std::shared_ptr<CDataSource>& dataSource, int& reconnected)
    // The base takes the session itself, after its one connection check, so
    // that a construction that throws gives it back.
    : CCommandClass(dataSource, boost::shared_ptr<CommandLiveChecker>(), reconnected) {}

CExtCommandClass::CExtCommandClass(const CTransactionClass& transaction)
    : CCommandClass(transaction) {}

CExtCommandClass::CExtCommandClass(const CCommandClass& other,
                                   const boost::shared_ptr<CommandLiveChecker>& checker)
    : CCommandClass(other, checker) {}

CExtCommandClass::~CExtCommandClass() = default;

std::shared_ptr<CCommandClass> CExtCommandClass::getCommandPtr() {
    return weak_from_this().lock();
}

const CBasicStringView<wchar_t>& CExtCommandClass::GetSQLInsertInto() {
    return InsertInto;
}

const CBasicStringView<wchar_t>& CExtCommandClass::GetSQLValues() {
    return Values;
}

const CBasicStringView<wchar_t>& CExtCommandClass::GetDefaultValues() {
    return DefaultValues;
}

// ---------------------------------------------------------------- builders

CBasicString<wchar_t> CExtCommandClass::GetInsertCommand(const View& table, const View& columns,
                                                         const View& values) {
    if (table.empty())
        return {};
    if (columns.empty() || values.empty())
        return Join({InsertInto, table, DefaultValues});
    return Join({InsertInto, table, L" (", columns, L")", Values, values, L")"});
}

CBasicString<wchar_t> CExtCommandClass::GetInsertFromSelectCommand(const View& table,
                                                                   const View& columns,
                                                                   const View& select) {
    return Join({InsertInto, table, L" (", columns, L") ", select});
}

CBasicString<wchar_t> CExtCommandClass::GetUpdateCommand(const View& table, const View& assignments,
                                                         const View& where) {
    if (table.empty() || assignments.empty())
        return {};
    return Join({L"UPDATE ", table, L" SET ", assignments, Keyword(where, L" WHERE "), where});
}

CBasicString<wchar_t> CExtCommandClass::GetUpdateFromCommand(const View& table,
                                                             const View& assignments,
                                                             const View& from, const View& where) {
    if (table.empty() || assignments.empty())
        return {};
    return Join({L"UPDATE ", table, L" SET ", assignments, Keyword(from, L" FROM "), from,
                 Keyword(where, L" WHERE "), where});
}

CBasicString<wchar_t> CExtCommandClass::GetDeleteCommand(const View& table, const View& where) {
    if (table.empty())
        return {};
    return Join({L"DELETE FROM ", table, Keyword(where, L" WHERE "), where});
}

CBasicString<wchar_t> CExtCommandClass::GetDeleteTopCommand(const View& count, const View& table,
                                                            const View& where) {
    if (table.empty())
        return {};
    return Join({L"DELETE TOP (", count, L") FROM ", table, Keyword(where, L" WHERE "), where});
}

CBasicString<wchar_t> CExtCommandClass::GetDeleteWhereExistsCommand(const View& table,
                                                                    const View& alias,
                                                                    const View& condition) {
    if (table.empty() || alias.empty() || condition.empty())
        return {};
    return Join(
        {L"DELETE ", alias, L" FROM ", table, L" AS ", alias, L" WHERE EXISTS (", condition, L")"});
}

CBasicString<wchar_t> CExtCommandClass::GetSelectCommand(const View& table, const View& fields,
                                                         const View& where,
                                                         const View& orderBy) const {
    if (table.empty())
        return {};
    return SelectStatement(*this, L"SELECT ", table, fields, where, orderBy);
}

CBasicString<wchar_t> CExtCommandClass::GetSelectTopCommand(const View& count, const View& table,
                                                            const View& fields, const View& where,
                                                            const View& orderBy) const {
    if (table.empty())
        return {};
    return SelectStatement(*this, Join({L"SELECT TOP (", count, L") "}), table, fields, where,
                           orderBy);
}

// ---------------------------------------------------------------- executing

bool CExtCommandClass::Insert(const View& table, const View& columns, const View& values) {
    return Execute(GetInsertCommand(table, columns, values), nullptr);
}

bool CExtCommandClass::InsertFromSelect(const View& table, const View& columns, const View& select,
                                        LONGLONG* rowsAffected) {
    return Execute(GetInsertFromSelectCommand(table, columns, select), rowsAffected);
}

bool CExtCommandClass::Update(const View& table, const View& assignments, const View& where,
                              LONGLONG* rowsAffected) {
    return Execute(GetUpdateCommand(table, assignments, where), rowsAffected);
}

bool CExtCommandClass::UpdateFrom(const View& table, const View& assignments, const View& from,
                                  const View& where, LONGLONG* rowsAffected) {
    return Execute(GetUpdateFromCommand(table, assignments, from, where), rowsAffected);
}

bool CExtCommandClass::Delete(const View& table, const View& where) {
    return Execute(GetDeleteCommand(table, where), nullptr);
}

bool CExtCommandClass::DeleteTop(const View& count, const View& table, const View& where,
                                 LONGLONG* rowsAffected) {
    return Execute(GetDeleteTopCommand(count, table, where), rowsAffected);
}

bool CExtCommandClass::DeleteWhereExists(const View& table, const View& alias,
                                         const View& condition) {
    return Execute(GetDeleteWhereExistsCommand(table, alias, condition), nullptr);
}

bool CExtCommandClass::Select(const View& table, const View& fields, const View& where,
                              const View& orderBy) {
    return SelectExecute(GetSelectCommand(table, fields, where, orderBy));
}

bool CExtCommandClass::SelectTop(const View& count, const View& table, const View& fields,
                                 const View& where, const View& orderBy) {
    return SelectExecute(GetSelectTopCommand(count, table, fields, where, orderBy));
}

CBasicString<wchar_t> CExtCommandClass::GetMaxElementValue(const View& table, const View& column) {
    const CBasicString<wchar_t> field = Join({L"max(", column, L")"});
    if (SelectExecute(GetSelectCommand(table, field, View(), View())) && GetRowSet() != nullptr) {
        CRowSet& rowset = *GetRowSet();
        size_t ordinal = rowset.GetColumnsOrdinal(column);
        // Most databases do not name an aggregate after its column but after
        // its text, or give it whatever name: the query has this one field,
        // so the first column is it.
        if (ordinal == 0)
            ordinal = rowset.GetColumnsOrdinal(field);
        if (ordinal == 0 && rowset.GetColumnCount() > 0)
            ordinal = rowset.GetColumnsOrdinal(CBasicString<wchar_t>(rowset.GetColumnName(1)));
        if (ordinal != 0 && rowset.FetchNext()) {
            const double next = rowset.GetCurrColumnsLONG(ordinal) + 1.0;
            return CBasicString<wchar_t>(boost::lexical_cast<std::wstring>(next));
        }
    }
    return CBasicString<wchar_t>(L"1");
}
