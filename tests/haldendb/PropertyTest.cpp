// Property sets built one property at a time, properties read through the
// three property interfaces, property information, task memory.
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace hdbtest;

namespace {

// An object holding a few properties, answering the property interfaces it
// is told to offer, handing out task memory as providers do.
class PropertyObject
    : public TestObject<PropertyObject, IDBProperties, ICommandProperties, IRowsetInfo> {
public:
    struct Entry {
        GUID set;
        DBPROPID id;
        VARIANT value;
        DBPROPFLAGS flags;
    };

    ~PropertyObject() {
        for (Entry& entry : entries)
            VariantClear(&entry.value);
    }
    void Add(const GUID& set, DBPROPID id, const VARIANT& value, DBPROPFLAGS flags) {
        entries.push_back({set, id, {}, flags});
        VariantCopy(&entries.back().value, &value);
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        queried.push_back(iid);
        return TestObject::QueryInterface(iid, out);
    }
    bool Answers(REFIID iid, IDBProperties*) const { return offersDB && iid == IID_IDBProperties; }
    bool Answers(REFIID iid, ICommandProperties*) const {
        return offersCommand && iid == IID_ICommandProperties;
    }
    bool Answers(REFIID iid, IRowsetInfo*) const { return offersRowset && iid == IID_IRowsetInfo; }

    // One property set with one property, as the library asks.
    HRESULT STDMETHODCALLTYPE GetProperties(ULONG, const DBPROPIDSET ids[], ULONG* setCount,
                                            DBPROPSET** sets) override {
        auto* set = static_cast<DBPROPSET*>(CoTaskMemAlloc(sizeof(DBPROPSET)));
        auto* property = static_cast<DBPROP*>(CoTaskMemAlloc(sizeof(DBPROP)));
        *set = {property, 1, ids[0].guidPropertySet};
        *property = {ids[0].rgPropertyIDs[0],
                     DBPROPOPTIONS_REQUIRED,
                     DBPROPSTATUS_NOTSUPPORTED,
                     DB_NULLID,
                     {}};
        *setCount = 1;
        *sets = set;
        const Entry* entry = Find(ids[0]);
        if (entry == nullptr)
            return DB_E_ERRORSOCCURRED;
        property->dwStatus = DBPROPSTATUS_OK;
        VariantCopy(&property->vValue, &entry->value);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetPropertyInfo(ULONG, const DBPROPIDSET ids[], ULONG* setCount,
                                              DBPROPINFOSET** sets, OLECHAR**) override {
        auto* set = static_cast<DBPROPINFOSET*>(CoTaskMemAlloc(sizeof(DBPROPINFOSET)));
        auto* info = static_cast<DBPROPINFO*>(CoTaskMemAlloc(sizeof(DBPROPINFO)));
        const Entry* entry = Find(ids[0]);
        *set = {info, 1, ids[0].guidPropertySet};
        *info = {nullptr,
                 ids[0].rgPropertyIDs[0],
                 entry ? entry->flags : DBPROPFLAGS{DBPROPFLAGS_NOTSUPPORTED},
                 VT_I4,
                 {}};
        // Enumerated properties list their values; the reader must clear them.
        info->vValues.vt = VT_BSTR;
        info->vValues.bstrVal = SysAllocString(L"allowed values");
        *setCount = 1;
        *sets = set;
        return entry ? S_OK : DB_E_ERRORSOCCURRED;
    }
    HRESULT STDMETHODCALLTYPE SetProperties(ULONG, DBPROPSET[]) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetReferencedRowset(DBORDINAL, REFIID, IUnknown**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetSpecification(REFIID, IUnknown**) override { return E_NOTIMPL; }

    std::vector<Entry> entries;
    std::vector<IID> queried;
    bool offersDB = false;
    bool offersCommand = false;
    bool offersRowset = false;

private:
    const Entry* Find(const DBPROPIDSET& ids) const {
        for (const Entry& entry : entries)
            if (entry.set == ids.guidPropertySet && entry.id == ids.rgPropertyIDs[0])
                return &entry;
        return nullptr;
    }
};

VARIANT Variant(VARTYPE type, LONG value) {
    VARIANT v;
    VariantInit(&v);
    v.vt = type;
    if (type == VT_BOOL)
        v.boolVal = static_cast<VARIANT_BOOL>(value);
    else
        v.lVal = value;
    return v;
}

// A property-set array owned by the test, freed with the library's helper.
struct PropertySets : ReportingObject {
    ULONG count = 0;
    DBPROPSET* sets = nullptr;
    ~PropertySets() { FreeProperties(count, sets); }
    HRESULT Add(DBPROPID id, const GUID& set, VARTYPE type, const void* value) {
        return SetProperty(id, set, &count, &sets, type, value, DBPROPOPTIONS_OPTIONAL, DB_NULLID);
    }
};

TEST(SetPropertyTest, PropertiesOfOneSetShareItInCallOrder) {
    PropertySets p;
    EXPECT_EQ(p.SetProperty(DBPROP_INIT_TIMEOUT, DBPROPSET_DBINIT, &p.count, &p.sets, VT_I4, 30u,
                            DBPROPOPTIONS_REQUIRED, DB_NULLID),
              S_OK);
    EXPECT_EQ(p.Add(DBPROP_MAXROWS, DBPROPSET_ROWSET, VT_EMPTY, nullptr), S_OK);
    EXPECT_EQ(p.Add(DBPROP_INIT_DATASOURCE, DBPROPSET_DBINIT, VT_BSTR, L"app.db"), S_OK);

    ASSERT_EQ(p.count, 2u);
    EXPECT_EQ(p.sets[0].guidPropertySet, DBPROPSET_DBINIT);
    ASSERT_EQ(p.sets[0].cProperties, 2u);
    const DBPROP& timeout = p.sets[0].rgProperties[0];
    EXPECT_EQ(timeout.dwPropertyID, static_cast<DBPROPID>(DBPROP_INIT_TIMEOUT));
    EXPECT_EQ(timeout.dwOptions, static_cast<DBPROPOPTIONS>(DBPROPOPTIONS_REQUIRED));
    EXPECT_EQ(timeout.dwStatus, 0u);
    EXPECT_EQ(timeout.vValue.vt, VT_I4);
    EXPECT_EQ(timeout.vValue.lVal, 30);
    EXPECT_EQ(p.sets[0].rgProperties[1].dwPropertyID,
              static_cast<DBPROPID>(DBPROP_INIT_DATASOURCE));
    EXPECT_STREQ(p.sets[0].rgProperties[1].vValue.bstrVal, L"app.db");
    ASSERT_EQ(p.sets[1].cProperties, 1u);
    EXPECT_EQ(p.sets[1].rgProperties[0].vValue.vt, VT_EMPTY);
}

TEST(SetPropertyTest, TheLastSetOfAGuidTakesTheProperty) {
    PropertySets p;
    p.sets = static_cast<DBPROPSET*>(CoTaskMemAlloc(2 * sizeof(DBPROPSET)));
    p.sets[0] = {nullptr, 0, DBPROPSET_ROWSET};
    p.sets[1] = {nullptr, 0, DBPROPSET_ROWSET};
    p.count = 2;
    p.Add(DBPROP_MAXROWS, DBPROPSET_ROWSET, VT_I4, nullptr);
    EXPECT_EQ(p.sets[0].cProperties, 0u);
    EXPECT_EQ(p.sets[1].cProperties, 1u);
}

TEST(SetPropertyTest, ValuesAreStoredByTheirVariantType) {
    PropertySets p;
    const SHORT i2 = -7;
    const LONG i4 = -100000;
    const VARIANT_BOOL yes = VARIANT_TRUE;
    VARIANT text;
    VariantInit(&text);
    text.vt = VT_BSTR;
    text.bstrVal = SysAllocString(L"copied");
    const double real = 1.5;
    p.Add(1, DBPROPSET_ROWSET, VT_I2, &i2);
    p.Add(2, DBPROPSET_ROWSET, VT_I4, &i4);
    p.Add(3, DBPROPSET_ROWSET, VT_BOOL, &yes);
    p.Add(4, DBPROPSET_ROWSET, VT_VARIANT, &text);
    VariantClear(&text); // the property holds its own copy
    p.Add(5, DBPROPSET_ROWSET, DBTYPE_WSTR, L"wide");
    p.Add(6, DBPROPSET_ROWSET, VT_R8, &real);
    p.SetProperty(7, DBPROPSET_ROWSET, &p.count, &p.sets, VT_BOOL, static_cast<ULONG>(VARIANT_TRUE),
                  DBPROPOPTIONS_OPTIONAL, DB_NULLID);

    ASSERT_EQ(p.count, 1u);
    const DBPROP* props = p.sets[0].rgProperties;
    EXPECT_EQ(props[0].vValue.vt, VT_I2);
    EXPECT_EQ(props[0].vValue.iVal, -7);
    EXPECT_EQ(props[1].vValue.lVal, -100000);
    EXPECT_EQ(props[2].vValue.vt, VT_BOOL);
    EXPECT_EQ(props[2].vValue.boolVal, VARIANT_TRUE);
    EXPECT_EQ(props[3].vValue.vt, VT_BSTR);
    EXPECT_STREQ(props[3].vValue.bstrVal, L"copied");
    EXPECT_EQ(props[4].vValue.vt, VT_BSTR);
    EXPECT_STREQ(props[4].vValue.bstrVal, L"wide");
    EXPECT_EQ(props[5].vValue.vt, VT_EMPTY);
    EXPECT_EQ(props[6].vValue.boolVal, VARIANT_TRUE);
}

// ---------------------------------------------------------------- reading

class GetPropertyTest : public ::testing::Test {
protected:
    GetPropertyTest() {
        object.Add(DBPROPSET_DBINIT, DBPROP_INIT_TIMEOUT, Variant(VT_I4, 45),
                   DBPROPFLAGS_DBINIT | DBPROPFLAGS_READ | DBPROPFLAGS_WRITE);
        object.Add(DBPROPSET_ROWSET, DBPROP_IRowsetChange, Variant(VT_BOOL, VARIANT_TRUE),
                   DBPROPFLAGS_ROWSET | DBPROPFLAGS_READ);
        object.Add(DBPROPSET_ROWSET, DBPROP_IRowsetUpdate, Variant(VT_BOOL, 1),
                   DBPROPFLAGS_ROWSET | DBPROPFLAGS_READ);
        VARIANT name;
        VariantInit(&name);
        name.vt = VT_BSTR;
        name.bstrVal = SysAllocString(L"embedded provider");
        object.Add(DBPROPSET_DATASOURCEINFO, DBPROP_PROVIDERFRIENDLYNAME, name, DBPROPFLAGS_READ);
        VariantClear(&name);
    }
    void TearDown() override { EXPECT_EQ(object.references, 0u); }

    PropertyObject object;
};

TEST_F(GetPropertyTest, DataSourcePropertiesComeThroughIDBProperties) {
    object.offersDB = true;
    object.offersCommand = true;
    ULONG timeout = 0;
    EXPECT_EQ(ReportingObject::GetProperty(object.unknown(), DBPROP_INIT_TIMEOUT, DBPROPSET_DBINIT,
                                           &timeout),
              S_OK);
    EXPECT_EQ(timeout, 45u);
    ASSERT_EQ(object.queried.size(), 1u);
    EXPECT_EQ(object.queried[0], IID_IDBProperties);
}

TEST_F(GetPropertyTest, CommandPropertiesComeThroughICommandProperties) {
    object.offersCommand = true;
    bool change = false;
    bool update = true;
    EXPECT_EQ(ReportingObject::GetProperty(object.unknown(), DBPROP_IRowsetChange, DBPROPSET_ROWSET,
                                           &change),
              S_OK);
    EXPECT_TRUE(change);
    // Only VARIANT_TRUE is true.
    EXPECT_EQ(ReportingObject::GetProperty(object.unknown(), DBPROP_IRowsetUpdate, DBPROPSET_ROWSET,
                                           &update),
              S_OK);
    EXPECT_FALSE(update);
}

TEST_F(GetPropertyTest, RowsetPropertiesComeThroughIRowsetInfo) {
    object.offersRowset = true;
    wchar_t* name = nullptr;
    EXPECT_EQ(ReportingObject::GetProperty(object.unknown(), DBPROP_PROVIDERFRIENDLYNAME,
                                           DBPROPSET_DATASOURCEINFO, &name),
              S_OK);
    ASSERT_NE(name, nullptr);
    EXPECT_STREQ(name, L"embedded provider");
    CoTaskMemFree(name);
    wchar_t buffer[9] = L"unused";
    EXPECT_EQ(ReportingObject::GetProperty(object.unknown(), DBPROP_PROVIDERFRIENDLYNAME,
                                           DBPROPSET_DATASOURCEINFO, buffer, 9),
              S_OK);
    EXPECT_STREQ(buffer, L"embedded");
    EXPECT_EQ(object.queried.back(), IID_IRowsetInfo);
}

TEST_F(GetPropertyTest, FailuresLeaveTheValueAlone) {
    ULONG value = 7;
    EXPECT_EQ(ReportingObject::GetProperty(nullptr, DBPROP_INIT_TIMEOUT, DBPROPSET_DBINIT, &value),
              S_FALSE);
    EXPECT_EQ(ReportingObject::GetProperty(object.unknown(), DBPROP_INIT_TIMEOUT, DBPROPSET_DBINIT,
                                           &value),
              E_NOINTERFACE);
    EXPECT_EQ(object.queried.size(), 3u);
    object.offersDB = true;
    EXPECT_EQ(
        ReportingObject::GetProperty(object.unknown(), DBPROP_MAXROWS, DBPROPSET_ROWSET, &value),
        DB_E_ERRORSOCCURRED);
    EXPECT_EQ(value, 7u);
}

TEST_F(GetPropertyTest, PropertyInformationTellsSupportAndSettability) {
    EXPECT_FALSE(ReportingObject::IsSettableProperty(object.unknown(), DBPROP_INIT_TIMEOUT,
                                                     DBPROPSET_DBINIT));
    object.offersDB = true;
    EXPECT_TRUE(ReportingObject::IsSettableProperty(object.unknown(), DBPROP_INIT_TIMEOUT,
                                                    DBPROPSET_DBINIT));
    EXPECT_TRUE(ReportingObject::IsSupportedProperty(object.unknown(), DBPROP_IRowsetChange,
                                                     DBPROPSET_ROWSET));
    EXPECT_FALSE(ReportingObject::IsSettableProperty(object.unknown(), DBPROP_IRowsetChange,
                                                     DBPROPSET_ROWSET));
    EXPECT_FALSE(
        ReportingObject::IsSupportedProperty(object.unknown(), DBPROP_MAXROWS, DBPROPSET_ROWSET));
    EXPECT_EQ(
        ReportingObject::GetPropInfoFlags(object.unknown(), DBPROP_IRowsetChange, DBPROPSET_ROWSET),
        static_cast<DBPROPFLAGS>(DBPROPFLAGS_ROWSET | DBPROPFLAGS_READ));
}

// ---------------------------------------------------------------- task memory

// An allocator that counts its references, to see the frame share and drop it.
class CountingAllocator : public TestObject<CountingAllocator, IMalloc> {
public:
    bool Answers(REFIID iid, IMalloc*) const { return iid == IID_IMalloc; }
    void* STDMETHODCALLTYPE Alloc(SIZE_T size) override { return CoTaskMemAlloc(size); }
    void* STDMETHODCALLTYPE Realloc(void* p, SIZE_T size) override {
        return CoTaskMemRealloc(p, size);
    }
    void STDMETHODCALLTYPE Free(void* p) override {
        ++freed;
        CoTaskMemFree(p);
    }
    SIZE_T STDMETHODCALLTYPE GetSize(void*) override { return static_cast<SIZE_T>(-1); }
    int STDMETHODCALLTYPE DidAlloc(void*) override { return -1; }
    void STDMETHODCALLTYPE HeapMinimize() override {}
    int freed = 0;
};

TEST(TaskMemoryTest, CopiesShareTheAllocatorUntilTheyGo) {
    CountingAllocator allocator;
    allocator.AddRef();
    {
        ReportingObject original;
        original.AdoptAllocator(&allocator);
        {
            ReportingObject copy(original, true);
            EXPECT_EQ(allocator.references, 2u);
            EXPECT_EQ(static_cast<IMalloc*>(copy), &allocator);
            // Release leaves the allocator to the object's next use.
            EXPECT_TRUE(copy.Release());
            EXPECT_EQ(static_cast<IMalloc*>(copy), &allocator);
            void* memory = copy.AllocTaskMem(16);
            EXPECT_NE(memory, nullptr);
            EXPECT_TRUE(copy.FreeTaskMemory(memory));
            EXPECT_EQ(allocator.freed, 1);
        }
        EXPECT_EQ(allocator.references, 1u);
    }
    EXPECT_EQ(allocator.references, 0u);
}

TEST(TaskMemoryTest, DuplicateIsAWholeCopyInTaskMemory) {
    wchar_t text[] = L"Grüße, 世界";
    wchar_t* copy = ReportingObject::wcsDuplicate(text);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, text);
    EXPECT_STREQ(copy, text);
    CoTaskMemFree(copy);
    EXPECT_EQ(ReportingObject::wcsDuplicate(nullptr), nullptr);
}

} // namespace
