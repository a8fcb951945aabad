// One OLE DB accessor handle, created from a binding array and released
// again.
//
// The bindings come from the owner's CColumnBindings. A build always releases
// the previous handle first, so rebuilding after the bindings changed (for
// example after CColumnBindings::ChangeColumnSize) is allowed. When the
// provider rejects the bindings, the failure is reported once and then every
// binding gets one report line of its own, naming what the provider found
// wrong with it (an empty line for a binding it accepted), so that the lines
// can be matched to the columns by position.
#pragma once

#include "haldendb/Platform.h"
#include "haldendb/BaseOLEDBClass.h"

class CColumnBindings;
class CRowSet;

class HALDENDB_API CAccessor : public CBaseOLEDBClass {
public:
    // Copies the rowset's reporting frame, uses its bindings and asks its
    // IRowset for IAccessor; row-data accessor flags. A failed query leaves
    // no interface, and the build then fails without a report.
    explicit CAccessor(const CRowSet& rowSet);
    ~CAccessor() override;

    // The flags given to the next CreateAccessor.
    void SetDBAccessorFlag(DBACCESSORFLAGS flags) { m_dwAccessorFlags = flags; }

    // Builds with row size 0 (one row at a time).
    bool BuildAccessor();
    // Builds with the bindings' data row size as the stride between rows.
    bool BuildFastLoadAccessor();

    // Releases the handle, then the base's resources.
    bool Release() override;

    operator IAccessor*() const { return m_pIAccessor; }
    operator HACCESSOR() const { return m_hAccessor; }

private:
    bool InternalBuildAccessor(ULONGLONG rowSize);
    bool InternalBindColumnsToAccessor(const ULONGLONG count, const DBBINDING* bindings,
                                       const ULONGLONG rowSize);
    bool InternalRelease();

    IAccessor* m_pIAccessor = nullptr;
    CColumnBindings* m_pColumnBindings = nullptr;
    // A caller's binding array (not owned), used where there are no column
    // bindings.
    const DBBINDING* m_pExternalBindings = nullptr;
    ULONGLONG m_nExternalBindings = 0;
    ULONGLONG m_nExternalRowSize = 0;
    // The provider's verdict on each binding of the last creation.
    DBBINDSTATUS* m_pBindStatus = nullptr;
    HACCESSOR m_hAccessor = 0;
    DBACCESSORFLAGS m_dwAccessorFlags = DBACCESSOR_ROWDATA;
};
