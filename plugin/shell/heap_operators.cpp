// The library's heap operators, which forward to the host's. They are not exported, so the host's own stay in place.
//
// There is no throwing operator new: the plug-in allocates only with std::nothrow and reports failures by status. A use
// of the throwing form becomes an unresolved import of the library.
#include <new>

#include "plugin/shell/allocator_binding.h"

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept { return qbflv::HostNew(size); }
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept { return qbflv::HostNewArray(size); }

void operator delete(void* block) noexcept { qbflv::HostDelete(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { qbflv::HostDelete(block); }
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept { qbflv::HostDelete(block); }

void operator delete[](void* block) noexcept { qbflv::HostDeleteArray(block); }
void operator delete[](void* block, std::size_t /*size*/) noexcept { qbflv::HostDeleteArray(block); }
void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept { qbflv::HostDeleteArray(block); }
