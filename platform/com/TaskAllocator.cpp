// The task allocator: the one IMalloc of the process and the CoTaskMem
// functions over it.
//
// Every block handed out is recorded with its size, so that GetSize answers
// the size asked for and DidAlloc can tell our blocks from foreign ones
// without touching memory around a foreign pointer. Freeing or resizing a
// pointer this allocator did not hand out leaves that pointer alone instead
// of corrupting the heap (a leak checker still reports the mistake).
#include "hdbplatform/ComObject.h"
#include "hdbplatform/WinApi.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <unordered_map>

namespace {

class BlockTable {
public:
    void* Allocate(SIZE_T size) {
        // malloc(0) may answer null; a task allocation of 0 bytes is a valid block.
        void* block = std::malloc(size == 0 ? 1 : size);
        if (block == nullptr)
            return nullptr;
        std::lock_guard lock(m_mutex);
        try {
            m_sizes.emplace(block, size);
        } catch (...) {
            std::free(block);
            return nullptr;
        }
        return block;
    }

    // nullptr when block is not ours or memory is short; block is then unchanged.
    void* Resize(void* block, SIZE_T size) {
        std::lock_guard lock(m_mutex);
        auto found = m_sizes.find(block);
        if (found == m_sizes.end())
            return nullptr;
        void* moved = std::realloc(block, size == 0 ? 1 : size);
        if (moved == nullptr)
            return nullptr;
        // Re-keying the existing node allocates nothing, so this cannot fail
        // after the block has moved.
        auto node = m_sizes.extract(found);
        node.key() = moved;
        node.mapped() = size;
        m_sizes.insert(std::move(node));
        return moved;
    }

    void Free(void* block) {
        {
            std::lock_guard lock(m_mutex);
            if (m_sizes.erase(block) == 0)
                return;
        }
        std::free(block);
    }

    // (SIZE_T)-1 when block is not ours.
    SIZE_T SizeOf(void* block) {
        std::lock_guard lock(m_mutex);
        auto found = m_sizes.find(block);
        return found == m_sizes.end() ? static_cast<SIZE_T>(-1) : found->second;
    }

private:
    std::mutex m_mutex;
    std::unordered_map<void*, SIZE_T> m_sizes;
};

// Never destroyed: task memory may be freed by static destructors that run
// after this file's would have.
BlockTable& Blocks() {
    static auto* table = new BlockTable;
    return *table;
}

class TaskAllocator final : public hdbcom::ComObject<hdbcom::Implements<IMalloc, IID_IMalloc>> {
public:
    // The allocator lives as long as the process, however often it is released.
    ULONG STDMETHODCALLTYPE Release() override { return ReleaseKeepingLast(); }

    void* STDMETHODCALLTYPE Alloc(SIZE_T cb) override { return Blocks().Allocate(cb); }

    // Realloc(nullptr, cb) allocates; Realloc(pv, 0) frees and answers nullptr.
    void* STDMETHODCALLTYPE Realloc(void* pv, SIZE_T cb) override {
        if (pv == nullptr)
            return Blocks().Allocate(cb);
        if (cb == 0) {
            Blocks().Free(pv);
            return nullptr;
        }
        return Blocks().Resize(pv, cb);
    }

    void STDMETHODCALLTYPE Free(void* pv) override {
        if (pv != nullptr)
            Blocks().Free(pv);
    }

    SIZE_T STDMETHODCALLTYPE GetSize(void* pv) override {
        return pv == nullptr ? static_cast<SIZE_T>(-1) : Blocks().SizeOf(pv);
    }

    // 1 for our blocks, 0 for others, -1 for a null pointer.
    int STDMETHODCALLTYPE DidAlloc(void* pv) override {
        if (pv == nullptr)
            return -1;
        return Blocks().SizeOf(pv) == static_cast<SIZE_T>(-1) ? 0 : 1;
    }

    void STDMETHODCALLTYPE HeapMinimize() override {}
};

TaskAllocator& Allocator() {
    static auto* allocator = new TaskAllocator;
    return *allocator;
}

} // namespace

HRESULT CoGetMalloc(DWORD dwMemContext, LPMALLOC* ppMalloc) {
    if (ppMalloc == nullptr)
        return E_INVALIDARG;
    if (dwMemContext != MEMCTX_TASK) {
        *ppMalloc = nullptr;
        return E_INVALIDARG;
    }
    *ppMalloc = &Allocator();
    (*ppMalloc)->AddRef();
    return S_OK;
}

LPVOID CoTaskMemAlloc(SIZE_T cb) {
    return Allocator().Alloc(cb);
}

LPVOID CoTaskMemRealloc(LPVOID pv, SIZE_T cb) {
    return Allocator().Realloc(pv, cb);
}

void CoTaskMemFree(LPVOID pv) {
    Allocator().Free(pv);
}
