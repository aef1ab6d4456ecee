// Implements platform.h for 64-bit Windows.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <cstring>

#include "plugin/platform/platform.h"

// Calls the function with the size. The host's function may throw exceptions of another compiler, which C++ cannot
// catch. The frame's exception handler catches them instead and unwinds the stack to kAllocatorFailed, where rax holds
// the value that the handler passed.
extern "C" void* CallAllocator(qbflv::platform::Allocator function, std::size_t size);
extern "C" const char kAllocatorFailed;

asm(R"(
	.text
	.globl CallAllocator
	.def CallAllocator; .scl 2; .type 32; .endef
	.seh_proc CallAllocator
CallAllocator:
	subq $40, %rsp
	.seh_stackalloc 40
	.seh_handler OnAllocatorException, @except
	.seh_endprologue
	movq %rcx, %rax
	movq %rdx, %rcx
	call *%rax
	jmp 0f
	.globl kAllocatorFailed
kAllocatorFailed:
	movq %rax, %rcx
	call DropException
	xorl %eax, %eax
0:
	addq $40, %rsp
	ret
	.seh_endproc
)");

namespace {

/// The codes of C++ exceptions in the two families of compilers.
constexpr DWORD kMicrosoftException = 0xE06D7363;
constexpr DWORD kGnuException = 0x20474343;
/// Flags of an exception that is already caught while this frame is unwound.
constexpr DWORD kUnwinding = 0x66;

/// An exception of the second family, in the layout of its published C++ ABI for Windows.
struct GnuException {
  std::uint64_t exceptionClass;
  void (*cleanUp)(int reason, GnuException* exception);
  /// The lower frames resume the unwinding with these values.
  std::uint64_t unused;
  std::uint64_t targetFrame;
  std::uint64_t targetAddress;
  std::uint64_t targetValue;
};
constexpr int kCaughtByForeignCode = 1;

}  // namespace

extern "C" EXCEPTION_DISPOSITION OnAllocatorException(EXCEPTION_RECORD* record, void* frame, CONTEXT* /*context*/,
                                                      DISPATCHER_CONTEXT* dispatcher) {
  const bool isGnu = record->ExceptionCode == kGnuException && record->NumberParameters > 0;
  const bool isThrown = isGnu || record->ExceptionCode == kMicrosoftException;
  if (!isThrown || (record->ExceptionFlags & kUnwinding) != 0) return ExceptionContinueSearch;
  void* const target = const_cast<char*>(&kAllocatorFailed);
  GnuException* exception = nullptr;
  if (isGnu) {
    exception = reinterpret_cast<GnuException*>(record->ExceptionInformation[0]);
    exception->targetFrame = reinterpret_cast<std::uint64_t>(frame);
    exception->targetAddress = reinterpret_cast<std::uint64_t>(target);
    exception->targetValue = 0;
  }
  RtlUnwindEx(frame, target, record, exception, dispatcher->ContextRecord, dispatcher->HistoryTable);
  return ExceptionContinueSearch;
}

/// Exceptions of the first family live in the frame that threw them and cannot be destroyed here.
extern "C" void DropException(GnuException* exception) {
  if (exception != nullptr && exception->cleanUp != nullptr) exception->cleanUp(kCaughtByForeignCode, exception);
}

namespace qbflv::platform {

namespace {

/// The names that the Microsoft compilers give the operators.
const char* DecoratedName(HeapOperator which) {
  switch (which) {
    case HeapOperator::kNew:
      return "??2@YAPEAX_K@Z";
    case HeapOperator::kDelete:
      return "??3@YAXPEAX@Z";
    case HeapOperator::kNewArray:
      return "??_U@YAPEAX_K@Z";
    case HeapOperator::kDeleteArray:
      return "??_V@YAXPEAX@Z";
  }
  return nullptr;
}

}  // namespace

void* FindHostHeapOperator(HeapOperator which) {
  const HMODULE mainProgram = GetModuleHandleA(nullptr);
  if (mainProgram == nullptr) return nullptr;
  return reinterpret_cast<void*>(GetProcAddress(mainProgram, DecoratedName(which)));
}

void* CallAllocator(Allocator function, std::size_t size) { return ::CallAllocator(function, size); }

const char* NextCharacter(const char* text) {
  return GetSystemMetrics(SM_DBCSENABLED) != 0 ? CharNextA(text) : text + 1;
}

void WriteStandardError(const char* text) {
  const HANDLE standardError = GetStdHandle(STD_ERROR_HANDLE);
  DWORD written = 0;
  WriteFile(standardError, text, static_cast<DWORD>(std::strlen(text)), &written, nullptr);
}

}  // namespace qbflv::platform
