// The contract between a host and the plug-in: statuses, identifiers and every interface that either side calls.
//
// This is the only header that an integrator needs. It includes nothing of the plug-in and requires C++20;
// host_interfaces_c.h is the same contract for C99 and other languages.
//
// Binary rules, the same on every platform:
// - An interface is a table of operations without hidden slots: slot n is the n-th virtual function, counted from 0.
//   Slots 0 to 2 belong to IUnknown. Operations named ReservedSlotN only keep the numbers of the other slots. Neither
//   side calls them, and a host does not have to override them.
// - Statuses are signed 32-bit integers, BOOL is a 32-bit integer (0 or 1), texts are NUL-terminated bytes, identifiers
//   are passed by address.
// - Ownership: an interface pointer passed as an argument is borrowed for the call; a callee that keeps it adds a
//   reference. An interface pointer returned through an out parameter carries one reference, which the caller releases.
//
// Words: an operation is one Init, Read, Seek or Stat on the file object; its completion is the InitDone, ReadDone,
// SeekDone or StatDone that reports its result. A request is one InitFileFormat, GetFileHeader, GetStreamHeader,
// GetPacket or Seek on the file-format object.
//
// Threads: the plug-in starts no thread and takes no lock. Calls into one object must not overlap; only AddRef and
// Release may be called from any thread. Calls may nest: the host may complete an operation inside the call that
// starts it, and may call the object from inside any call that it gets: sink operations, file operations, and the last
// Release of an object of its own. The exceptions are the operations of buffers, packets and property lists.
//
// Times are in milliseconds, sizes and offsets in bytes, rates in bits per second. Offsets are 32-bit, so files of
// 4 GiB or more cannot be read whole.
#pragma once

#if __cplusplus < 202002L && (!defined(_MSVC_LANG) || _MSVC_LANG < 202002L)
#error "host_interfaces.h requires C++20; use host_interfaces_c.h with an older standard"
#endif

#include <array>
#include <bit>
#include <cstdint>

namespace qbflv {

// ---------------------------------------------------------------------------------------------------------------
// Statuses
// ---------------------------------------------------------------------------------------------------------------

/// Negative on failure. The value distinguishes bad input, misuse and lack of memory.
using Status = std::int32_t;

constexpr Status MakeStatus(std::uint32_t bits) { return static_cast<Status>(bits); }

inline constexpr Status kOk = 0;
inline constexpr Status kNotImplemented = MakeStatus(0x80004001);
inline constexpr Status kNoInterface = MakeStatus(0x80004002);
/// General failure: malformed data, or a lookup that finds nothing.
inline constexpr Status kFailed = MakeStatus(0x80004005);
inline constexpr Status kOutOfMemory = MakeStatus(0x8007000E);
inline constexpr Status kInvalidArgument = MakeStatus(0x80070057);
/// The object's present state does not allow this request or completion, or something that it needs is missing.
inline constexpr Status kInvalidState = MakeStatus(0x80040009);
/// Success code of IQBSourceFile::SetAccessHint: the file object prefers reads from front to back.
inline constexpr Status kPrefersLinearAccess = MakeStatus(0x0004008D);

constexpr bool Succeeded(Status status) { return status >= 0; }
constexpr bool Failed(Status status) { return status < 0; }

// ---------------------------------------------------------------------------------------------------------------
// Identifiers
// ---------------------------------------------------------------------------------------------------------------

/// 16 bytes: the first three fields in the machine's byte order (little-endian on all supported platforms), then
/// eight single bytes.
struct GUID {
  std::uint32_t data1;
  std::uint16_t data2;
  std::uint16_t data3;
  std::uint8_t data4[8];
};

static_assert(sizeof(GUID) == 16);

constexpr bool operator==(const GUID& left, const GUID& right) {
  using Halves = std::array<std::uint64_t, 2>;
  return std::bit_cast<Halves>(left) == std::bit_cast<Halves>(right);
}

/// The identifiers below differ only in their first field, with two exceptions.
constexpr GUID FrameworkGuid(std::uint32_t first) {
  return {first, 0x0901, 0x11D1, {0x8B, 0x06, 0x00, 0xA0, 0x24, 0x40, 0x6D, 0x59}};
}

/// A truth value between host and plug-in: 0 is false, any other value is true.
using BOOL = std::int32_t;

// Interfaces have no virtual destructor, because it would occupy slots. Release destroys the object; the protected
// destructor prevents deletion through an interface pointer.

struct IUnknown {
  static constexpr GUID kId{0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

  /// Slot 0. Stores the requested interface with one reference, or null. Returns kOk, or kNoInterface with null.
  virtual Status QueryInterface(const GUID& id, void** object) = 0;
  /// Slot 1. Adds a reference. Returns the new count.
  virtual std::uint32_t AddRef() = 0;
  /// Slot 2. Removes a reference and destroys the object with the last one. Returns the new count.
  virtual std::uint32_t Release() = 0;

 protected:
  ~IUnknown() = default;
};

// ---------------------------------------------------------------------------------------------------------------
// What the host implements: buffers, packets and property lists. Only their last Release may call the plug-in.
// ---------------------------------------------------------------------------------------------------------------

/// A block of bytes.
struct IQBBuffer : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00001300);

  virtual Status ReservedSlot3() { return kNotImplemented; }
  /// Slot 4. Replaces the content with a copy of length bytes; bytes is borrowed.
  virtual Status Set(const std::uint8_t* bytes, std::uint32_t length) = 0;
  /// Slot 5. Changes the size in bytes. Keeps the bytes up to the smaller of the old and the new size.
  virtual Status SetSize(std::uint32_t size) = 0;
  /// Slot 6. Returns the size in bytes.
  virtual std::uint32_t GetSize() = 0;
  /// Slot 7. Returns the bytes, which stay valid until the buffer is changed or released. May be null if the size is
  /// 0.
  virtual std::uint8_t* GetBuffer() = 0;

 protected:
  ~IQBBuffer() = default;
};

/// One media packet.
struct IQBPacket : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00001301);

  virtual Status ReservedSlot3() { return kNotImplemented; }
  /// Slot 4. Returns the packet's bytes with one reference for the caller, or null if it has none.
  virtual IQBBuffer* GetPacketBuffer() = 0;
  /// Slot 5. Returns the time in ms.
  virtual std::uint32_t GetTime() = 0;
  /// Slot 6. Returns the number of the packet's stream.
  virtual std::uint16_t GetStreamNumber() = 0;
  /// Slot 7. Returns 3 for audio and key frames, 2 for other video frames.
  virtual std::uint8_t GetASMFlags() = 0;
  /// Slot 8. Returns the number of the rule in the stream's "ASMRuleBook" that applies to the packet.
  virtual std::uint16_t GetASMRuleNumber() = 0;
  /// Slot 9. Returns 1 for a placeholder of a lost packet, which has no data.
  virtual BOOL IsLost() = 0;
  virtual Status ReservedSlot10() { return kNotImplemented; }
  /// Slot 11. Fills the packet. The packet keeps one reference to buffer. time is in ms.
  virtual Status Set(IQBBuffer* buffer, std::uint32_t time, std::uint16_t stream, std::uint8_t asmFlags,
                     std::uint16_t asmRule) = 0;

 protected:
  ~IQBPacket() = default;
};

/// A packet that also has an RTP time.
struct IQBRTPPacket : IQBPacket {
  static constexpr GUID kId{0x0169A731, 0x1ED0, 0x11D4, {0x95, 0x2B, 0x00, 0x90, 0x27, 0x42, 0xC9, 0x23}};

  /// Slot 12. Returns the time in units of the stream's RTP clock.
  virtual std::uint32_t GetRTPTime() = 0;
  virtual Status ReservedSlot13() { return kNotImplemented; }
  /// Slot 14. Like Set, and also stores the RTP time.
  virtual Status SetRTP(IQBBuffer* buffer, std::uint32_t time, std::uint32_t rtpTime, std::uint16_t stream,
                        std::uint8_t asmFlags, std::uint16_t asmRule) = 0;

 protected:
  ~IQBRTPPacket() = default;
};

/// Named values of three kinds: numbers, byte blocks, and texts (buffers that hold the text and its NUL). A setter
/// replaces the value that the name has; names are borrowed. The host chooses how names compare. Getters return buffers
/// with one reference, and fail for a name that is absent or has a value of another kind.
struct IQBPropertyList : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00001302);

  /// Slot 3. Sets a number.
  virtual Status SetULONG32(const char* name, std::uint32_t value) = 0;
  /// Slot 4. Stores the number.
  virtual Status GetULONG32(const char* name, std::uint32_t* value) = 0;
  virtual Status ReservedSlot5() { return kNotImplemented; }
  virtual Status ReservedSlot6() { return kNotImplemented; }
  /// Slot 7. Sets a byte block. The list keeps one reference to value.
  virtual Status SetBuffer(const char* name, IQBBuffer* value) = 0;
  /// Slot 8. Stores the byte block with one reference.
  virtual Status GetBuffer(const char* name, IQBBuffer** value) = 0;
  virtual Status ReservedSlot9() { return kNotImplemented; }
  virtual Status ReservedSlot10() { return kNotImplemented; }
  /// Slot 11. Sets a text: value holds it with its NUL. The list keeps one reference to value.
  virtual Status SetCString(const char* name, IQBBuffer* value) = 0;
  /// Slot 12. Stores the text's buffer with one reference.
  virtual Status GetCString(const char* name, IQBBuffer** value) = 0;

 protected:
  ~IQBPropertyList() = default;
};

// ---------------------------------------------------------------------------------------------------------------
// What the host implements: its context
// ---------------------------------------------------------------------------------------------------------------

/// Creates the host's objects. The plug-in gets it from the context by QueryInterface.
struct IQBObjectFactory : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00000000);

  /// Slot 3. classId: the identifier of IQBBuffer, IQBPacket, IQBRTPPacket or IQBPropertyList. Stores that interface of
  /// a new, empty object with one reference.
  virtual Status CreateInstance(const GUID& classId, void** object) = 0;

 protected:
  ~IQBObjectFactory() = default;
};

/// The host's settings. Optional; the plug-in gets it from the context by QueryInterface.
struct IQBPreferences : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00000500);

  /// Slot 3. Stores the value as NUL-terminated text in a buffer with one reference. A preference counts as set only if
  /// the status is exactly kOk.
  virtual Status ReadPref(const char* name, IQBBuffer** value) = 0;

 protected:
  ~IQBPreferences() = default;
};

/// What a client requested. The host passes it to InitFileFormat.
struct IQBRequest : IUnknown {
  virtual Status ReservedSlot3() { return kNotImplemented; }
  /// Slot 4. Stores the request's headers as a list with one reference.
  virtual Status GetHeaders(IQBPropertyList** headers) = 0;
  virtual Status ReservedSlot5() { return kNotImplemented; }
  virtual Status ReservedSlot6() { return kNotImplemented; }
  virtual Status ReservedSlot7() { return kNotImplemented; }
  /// Slot 8. Stores the URL as NUL-terminated text, which stays valid as long as the object holds the request.
  virtual Status GetURL(const char** url) = 0;

 protected:
  ~IQBRequest() = default;
};

// ---------------------------------------------------------------------------------------------------------------
// What the plug-in implements for the file object
// ---------------------------------------------------------------------------------------------------------------

/// Receives the completions of the file object. The file-format object passes it to IQBSourceFile::Init; the file
/// object keeps one reference until its last completion.
///
/// A completion may come inside the call that starts its operation. It returns kOk if the object acts on it: at once,
/// or when the outermost call into the object ends. It returns kInvalidState if the object does not expect it; only the
/// object's record of the file position may then change. The completion of an operation that Seek, Close or another
/// InitFileFormat superseded is stale and also returns kInvalidState.
struct IQBFileResponse : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00000201);

  /// Slot 3. Completes IQBSourceFile::Init.
  virtual Status InitDone(Status status) = 0;
  /// Slot 4. Without effect, since Close has no completion. Returns kOk.
  virtual Status CloseDone(Status status) = 0;
  /// Slot 5. Completes IQBSourceFile::Read. buffer: borrowed; null on failure. At the end of the file it may hold fewer
  /// bytes than were requested, or none.
  virtual Status ReadDone(Status status, IQBBuffer* buffer) = 0;
  /// Slot 6. Without effect, since the plug-in writes nothing. Returns kNotImplemented.
  virtual Status WriteDone(Status status) = 0;
  /// Slot 7. Completes IQBSourceFile::Seek.
  virtual Status SeekDone(Status status) = 0;

 protected:
  ~IQBFileResponse() = default;
};

/// Receives the completion of IQBFileStat::Stat. The file object may query it from the IQBFileResponse.
struct IQBFileStatResponse : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00000206);

  /// Slot 3. Completes IQBFileStat::Stat. size: the file's size in bytes, used only if the status is not negative. A
  /// host may pass further values after it; they are ignored (the calling conventions in use let the caller clean up).
  /// Returns the same statuses as the operations of IQBFileResponse.
  virtual Status StatDone(Status status, std::uint32_t size) = 0;

 protected:
  ~IQBFileStatResponse() = default;
};

// ---------------------------------------------------------------------------------------------------------------
// What the host implements: the file
// ---------------------------------------------------------------------------------------------------------------

/// One file, opened by the host. The file-format object starts one operation at a time, with two exceptions: it may
/// call Close at any time, and it may start a Seek while an operation is pending when the host seeks. Each operation
/// that returns a success is completed exactly once; operations of one kind are completed in the order of their calls.
/// The object acts on the completion. An operation that fails at once needs no completion. A file object may call the
/// file-format object from inside an operation after it has accepted it; operations that start meanwhile follow it.
struct IQBSourceFile : IUnknown {
  /// Slot 3. Opens the file; InitFileFormat calls it. Completed by response->InitDone. flags: always 5, which means
  /// reading at any position in the host's framework. response: receives all completions of this file; the file object
  /// keeps one reference.
  virtual Status Init(std::uint32_t flags, IQBFileResponse* response) = 0;
  virtual Status ReservedSlot4() { return kNotImplemented; }
  /// Slot 5. Closes the file; the host may drop pending operations or complete them later. The object ignores the
  /// status.
  virtual Status Close() = 0;
  /// Slot 6. Reads count bytes at the file position and advances it by the bytes read. Completed by ReadDone, at the
  /// end of the file with a shorter buffer or a failure. count may be 0.
  virtual Status Read(std::uint32_t count) = 0;
  virtual Status ReservedSlot7() { return kNotImplemented; }
  /// Slot 8. Sets the file position to offset; relative is always 0. Completed by SeekDone. An offset past the end is
  /// legal; the next read is then a read at the end.
  virtual Status Seek(std::uint32_t offset, BOOL relative) = 0;
  /// Slot 9. hint: always 1, which announces seeks to the end of the file. The object omits them if the status is
  /// kPrefersLinearAccess.
  virtual Status SetAccessHint(std::uint32_t hint) = 0;

 protected:
  ~IQBSourceFile() = default;
};

/// Reports a file's size. Optional; the plug-in gets it from the file object by QueryInterface.
struct IQBFileStat : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00000205);

  /// Slot 3. Completed by response->StatDone; a failure there leaves the size unknown. A failure status without a
  /// completion inside the call fails the opening of the file. response: borrowed; keep a reference until StatDone.
  virtual Status Stat(IQBFileStatResponse* response) = 0;

 protected:
  ~IQBFileStat() = default;
};

// ---------------------------------------------------------------------------------------------------------------
// What the host implements: the sink
// ---------------------------------------------------------------------------------------------------------------

/// Receives what the file-format object produces. The object keeps one reference until Close. The object calls every
/// operation from inside a request or a completion. Each may call the object back: with any request, Close or the last
/// Release. The object ignores the statuses. Lists and packets are borrowed for the call; the host releases the packets
/// that it keeps before its last reference to the object.
struct IQBFormatSink : IUnknown {
  /// Slot 3. Ends InitFileFormat.
  virtual Status InitDone(Status status) = 0;
  /// Slot 4. Ends one GetPacket of the packet's stream. status is always kOk.
  virtual Status PacketReady(Status status, IQBPacket* packet) = 0;
  /// Slot 5. Ends Seek.
  virtual Status SeekDone(Status status) = 0;
  /// Slot 6. Ends GetFileHeader. header: null on failure.
  virtual Status FileHeaderReady(Status status, IQBPropertyList* header) = 0;
  /// Slot 7. Ends GetStreamHeader. header: null on failure.
  virtual Status StreamHeaderReady(Status status, IQBPropertyList* header) = 0;
  /// Slot 8. The stream has no more packets, until a Seek. Also ends a pending GetPacket of the stream.
  virtual Status StreamDone(std::uint16_t stream) = 0;

 protected:
  ~IQBFormatSink() = default;
};

// ---------------------------------------------------------------------------------------------------------------
// What the plug-in implements for the host
// ---------------------------------------------------------------------------------------------------------------

/// The primary interface of the file-format object: QBMCreateInstance returns it, and it is the object's identity.
struct IQBPlugin : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00000C00);

  /// Slot 3. Allowed at any time. flag: always 1. The texts are static. Each out pointer may be null. Returns kOk.
  virtual Status GetPluginInfo(std::uint32_t* flag, const char** description, const char** copyright,
                               const char** moreInfo, std::uint32_t* version) = 0;
  /// Slot 4. Gives the object its context, of which it keeps one reference until Close or the next InitPlugin. The
  /// context supports QueryInterface for IQBObjectFactory and, optionally, IQBPreferences. Cancels the current step, if
  /// there is one; the object then waits for InitFileFormat. Returns kOk; without effect kFailed if context is null, or
  /// kInvalidState during the last Release.
  virtual Status InitPlugin(IUnknown* context) = 0;

 protected:
  ~IQBPlugin() = default;
};

/// Reads one file. A request that the present state does not allow returns kInvalidState and changes nothing. A
/// request that returns kOk ends with a call to the sink, possibly inside the request, unless a later one cancels it.
struct IQBFileFormatObject : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00000F00);

  /// Slot 3. Allowed at any time. Each list is a static array of texts that ends with a null pointer. Each out
  /// pointer may be null. Returns kOk.
  virtual Status GetFileFormatInfo(const char* const** mimeTypes, const char* const** extensions,
                                   const char* const** openNames) = 0;
  /// Slot 4. Opens a file; ends with the sink's InitDone. Allowed after InitPlugin in any state; it cancels all earlier
  /// requests and supersedes pending operations. Keeps one reference to each argument until Close. Returns the status
  /// of IQBSourceFile::Init; kInvalidState without a context, with a null argument, or if the request's URL or headers
  /// cannot be read; kOutOfMemory.
  virtual Status InitFileFormat(IQBRequest* request, IQBFormatSink* sink, IQBSourceFile* file) = 0;
  /// Slot 5. Ends with the sink's FileHeaderReady. Allowed once after a successful InitDone, and again after a failure.
  virtual Status GetFileHeader() = 0;
  /// Slot 6. Calls the sink's StreamHeaderReady before it returns. Allowed after a successful FileHeaderReady, until as
  /// many calls have succeeded as there are streams.
  virtual Status GetStreamHeader(std::uint16_t stream) = 0;
  /// Slot 7. Requests the stream's next packet; ends with the sink's PacketReady or StreamDone. A stream can have one
  /// pending request. Allowed from FileHeaderReady on; a request before the last stream header is served after it.
  virtual Status GetPacket(std::uint16_t stream) = 0;
  /// Slot 8. Moves delivery to a time in ms, relative to the file's first audio or video tag; hosts pass times below
  /// 2^31. Ends with the sink's SeekDone, whose status is that of the last file operation. A time past the last tag
  /// succeeds too; the streams then end at once. Allowed from FileHeaderReady on at any time, also inside a sink
  /// operation. Cancels the current step and all pending requests, drops queued packets, and lets streams that were
  /// done deliver again. A later Seek supersedes this one, which then gets no SeekDone. Returns kInvalidState without a
  /// file header; kOutOfMemory, without effect, if it cannot remember the pending operation.
  virtual Status Seek(std::uint32_t time) = 0;
  /// Slot 9. Closes the file, cancels all requests and releases all host objects. Allowed at any time, also
  /// repeatedly; the last Release does the same. The object then refuses requests until InitPlugin. Returns kOk.
  virtual Status Close() = 0;

 protected:
  ~IQBFileFormatObject() = default;
};

/// Tells the host where it may call the object from.
struct IQBInterruptSafe : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x0000010B);

  /// Slot 3. Returns 1: the object never blocks.
  virtual BOOL IsInterruptSafe() = 0;

 protected:
  ~IQBInterruptSafe() = default;
};

/// Reports the formats that packets can have.
struct IQBPacketFormat : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00000F03);

  /// Slot 3. Stores a static array of texts that ends with a null pointer. Returns kOk.
  virtual Status GetSupportedPacketFormats(const char* const** formats) = 0;
  /// Slot 4. Accepts any text or null, without effect: packets always have the one supported format. Returns kOk.
  virtual Status SetPacketFormat(const char* format) = 0;

 protected:
  ~IQBPacketFormat() = default;
};

// ---------------------------------------------------------------------------------------------------------------
// What the library exports: functions with C linkage and these names
// ---------------------------------------------------------------------------------------------------------------

/// Creates a file-format object and stores its IQBPlugin with one reference. Returns kOk; kOutOfMemory with null in
/// object; kInvalidArgument if object is null. The library allocates all its memory through the operators `new` and
/// `delete` that the main program of the host process exports. Without them every call returns kOutOfMemory and writes
/// the reason to standard error.
inline constexpr char kCreateInstanceName[] = "QBMCreateInstance";
using CreateInstanceFunction = Status (*)(IUnknown** object);

/// Returns kOk if the library has no live object and may be unloaded, else kFailed. The IQBFileResponse objects that
/// file objects hold count too.
inline constexpr char kCanUnloadName[] = "CanUnload2";
using CanUnloadFunction = Status (*)();

}  // namespace qbflv
