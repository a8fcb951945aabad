// CExtCommandClass: a command that writes the common statements itself.
//
// The builders assemble INSERT, UPDATE, DELETE and SELECT texts from pieces
// the caller supplies (table, column list, value list, conditions, order)
// and the executing forms build and run them at once. The builders neither
// quote identifiers nor escape their arguments: the pieces are finished SQL
// fragments, literal values made with MakeSQLCompliant. A builder whose
// essential piece is missing answers empty text, and its executing form then
// fails without a round trip to the database.
//
// The select builders splice in the optimizer hints of the command (empty
// unless the command is optimized and its database has hints). They write
// TOP (n) whatever the database: use the top forms only where the database
// knows TOP (CDataSource::hasTopStatement).
#pragma once

#include "haldendb/Platform.h"
#include "haldendb/CommandClass.h"

class HALDENDB_API CExtCommandClass : public CCommandClass {
public:
    // A command on a pooled session of `dataSource`; see CCommandClass.
    CExtCommandClass(const std::shared_ptr<CDataSource>& dataSource, int& reconnected);
    explicit CExtCommandClass(const CTransactionClass& transaction);
    ~CExtCommandClass() override;

    std::shared_ptr<CCommandClass> getCommandPtr() override;

    static const CBasicStringView<wchar_t>& GetSQLInsertInto(); // "INSERT INTO "
    static const CBasicStringView<wchar_t>& GetSQLValues();     // " VALUES ("
    static const CBasicStringView<wchar_t>& GetDefaultValues(); // " DEFAULT VALUES"
    static size_t GetSQLValuesSize() { return GetSQLValues().size(); }

    // ---------------------------------------------------------- builders

    // INSERT INTO table (columns) VALUES (values); DEFAULT VALUES when either
    // list is empty; empty without a table.
    static CBasicString<wchar_t> GetInsertCommand(const CBasicStringView<wchar_t>& table,
                                                  const CBasicStringView<wchar_t>& columns,
                                                  const CBasicStringView<wchar_t>& values);
    // INSERT INTO table (columns) select; nothing is checked.
    static CBasicString<wchar_t>
    GetInsertFromSelectCommand(const CBasicStringView<wchar_t>& table,
                               const CBasicStringView<wchar_t>& columns,
                               const CBasicStringView<wchar_t>& select);
    // UPDATE table SET assignments [WHERE where]; empty without table or
    // assignments.
    static CBasicString<wchar_t> GetUpdateCommand(const CBasicStringView<wchar_t>& table,
                                                  const CBasicStringView<wchar_t>& assignments,
                                                  const CBasicStringView<wchar_t>& where);
    // UPDATE table SET assignments [FROM from] [WHERE where].
    static CBasicString<wchar_t> GetUpdateFromCommand(const CBasicStringView<wchar_t>& table,
                                                      const CBasicStringView<wchar_t>& assignments,
                                                      const CBasicStringView<wchar_t>& from,
                                                      const CBasicStringView<wchar_t>& where);
    // DELETE FROM table [WHERE where]; empty without a table.
    static CBasicString<wchar_t> GetDeleteCommand(const CBasicStringView<wchar_t>& table,
                                                  const CBasicStringView<wchar_t>& where);
    // DELETE TOP (count) FROM table [WHERE where]; `count` is not checked.
    static CBasicString<wchar_t> GetDeleteTopCommand(const CBasicStringView<wchar_t>& count,
                                                     const CBasicStringView<wchar_t>& table,
                                                     const CBasicStringView<wchar_t>& where);
    // DELETE alias FROM table AS alias WHERE EXISTS (condition); empty when
    // any piece is.
    static CBasicString<wchar_t>
    GetDeleteWhereExistsCommand(const CBasicStringView<wchar_t>& table,
                                const CBasicStringView<wchar_t>& alias,
                                const CBasicStringView<wchar_t>& condition);
    // SELECT <hint>fields<hint> FROM table [WHERE where] [ORDER BY orderBy]
    // <hint>; empty without a table. The before-field hint is followed by
    // the fields directly.
    CBasicString<wchar_t> GetSelectCommand(const CBasicStringView<wchar_t>& table,
                                           const CBasicStringView<wchar_t>& fields,
                                           const CBasicStringView<wchar_t>& where,
                                           const CBasicStringView<wchar_t>& orderBy) const;
    // SELECT TOP (count) <hint>fields... as above; `count` is not checked.
    CBasicString<wchar_t> GetSelectTopCommand(const CBasicStringView<wchar_t>& count,
                                              const CBasicStringView<wchar_t>& table,
                                              const CBasicStringView<wchar_t>& fields,
                                              const CBasicStringView<wchar_t>& where,
                                              const CBasicStringView<wchar_t>& orderBy) const;

    // ---------------------------------------------------------- executing

    bool Insert(const CBasicStringView<wchar_t>& table, const CBasicStringView<wchar_t>& columns,
                const CBasicStringView<wchar_t>& values);
    bool InsertFromSelect(const CBasicStringView<wchar_t>& table,
                          const CBasicStringView<wchar_t>& columns,
                          const CBasicStringView<wchar_t>& select, LONGLONG* rowsAffected);
    bool Update(const CBasicStringView<wchar_t>& table,
                const CBasicStringView<wchar_t>& assignments,
                const CBasicStringView<wchar_t>& where, LONGLONG* rowsAffected);
    bool UpdateFrom(const CBasicStringView<wchar_t>& table,
                    const CBasicStringView<wchar_t>& assignments,
                    const CBasicStringView<wchar_t>& from, const CBasicStringView<wchar_t>& where,
                    LONGLONG* rowsAffected);
    bool Delete(const CBasicStringView<wchar_t>& table, const CBasicStringView<wchar_t>& where);
    bool DeleteTop(const CBasicStringView<wchar_t>& count, const CBasicStringView<wchar_t>& table,
                   const CBasicStringView<wchar_t>& where, LONGLONG* rowsAffected);
    bool DeleteWhereExists(const CBasicStringView<wchar_t>& table,
                           const CBasicStringView<wchar_t>& alias,
                           const CBasicStringView<wchar_t>& condition);
    // The rows are then in GetRowSet().
    bool Select(const CBasicStringView<wchar_t>& table, const CBasicStringView<wchar_t>& fields,
                const CBasicStringView<wchar_t>& where, const CBasicStringView<wchar_t>& orderBy);
    bool SelectTop(const CBasicStringView<wchar_t>& count, const CBasicStringView<wchar_t>& table,
                   const CBasicStringView<wchar_t>& fields, const CBasicStringView<wchar_t>& where,
                   const CBasicStringView<wchar_t>& orderBy);

    // One more than the largest value of a numeric column, as text ("42"
    // for a largest value of 41); "1" for an empty table or when the query
    // fails. The query goes through this command and replaces its rowset.
    CBasicString<wchar_t> GetMaxElementValue(const CBasicStringView<wchar_t>& table,
                                             const CBasicStringView<wchar_t>& column);

protected:
    // For the derived commands' private copies; see CCommandClass.
    CExtCommandClass(const CCommandClass& other,
                     const boost::shared_ptr<CommandLiveChecker>& checker);
};
