// The library's own heap operators, all of which go through the host's. They are not exported: a host keeps its own.
//
// There is no throwing operator new: the plug-in takes memory only with std::nothrow, since running out is an answer to
// the host and never an exception. A use of the throwing form would show as an unresolved import of the library.
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
