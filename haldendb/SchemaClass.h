// CSchemaClass: the catalog questions of one data source, asked through a
// session of its own with the schema rowset interface.
#pragma once

#include "haldendb/Platform.h"
#include "haldendb/BaseOLEDBClass.h"
#include "haldendb/DataSource.h"

class HALDENDB_API CSchemaClass : public CBaseOLEDBClass {
public:
    // Opens the session on the data source's provider object (reports 15507
    // or 15508 when it cannot); without a connected data source the object
    // has no schema interface and answers false.
    explicit CSchemaClass(const CDataSource& dataSource);
    CSchemaClass(const CSchemaClass&) = delete;
    CSchemaClass& operator=(const CSchemaClass&) = delete;
    ~CSchemaClass() override;

    // The databases (catalogs) the server offers, in the provider's order.
    // False, with an empty list, when there is no session or the provider
    // lists no catalogs. Reading ends with the report "Error fetch next entry
    // from database" (caption 15531), also at the plain end of the list: the
    // rowset cannot tell the two apart. The list read is kept either way.
    bool GetDatabases(CStringArray& databases);

    IDBSchemaRowset* GetInterface() const { return m_pIDBSchemaRowset; }

private:
    IDBInitialize* m_pIDBInitialize = nullptr;
    IDBSchemaRowset* m_pIDBSchemaRowset = nullptr;
};
