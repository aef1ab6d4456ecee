/* The contract between a host and the plug-in for C99 and for binding generators: statuses, identifiers, and the table
   of functions of every interface. host_interfaces.h is the same contract for C++20 and describes each operation in
   more detail; the names are the same.

   An object is a pointer to a struct whose first member points to the table of its functions. Slot n is the nth
   function of the table, counted from 0. Reserved slots only keep the numbers of the others: neither side calls them,
   and a host may leave them null. A host's object begins with the interface struct and adds members of its own:

     typedef struct {
       IQBFormatSink base;
       int my_member;
     } MySink;

   - Functions have the platform's default calling convention. Statuses are signed 32-bit integers, negative on
     failure. Truth values are 32-bit integers, 0 or 1. Texts are NUL-terminated bytes.
   - Ownership: an interface pointer passed as an argument is borrowed for the call; a callee that keeps it calls
     AddRef. An interface pointer returned through an out parameter, or by GetPacketBuffer, carries one reference, which
     the caller releases.
   - Threads: the plug-in starts no thread and takes no lock. Calls into one object must not overlap; only AddRef and
     Release may be called from any thread. Calls may nest: the host may complete a file operation inside the call that
     starts it, and may call the object from every call that it gets, except from the operations of buffers, packets and
     property lists.
   - Units: times in milliseconds, sizes and offsets in bytes, rates in bits per second. Offsets have 32 bits. */
#ifndef QBFLVPLUS_HOST_INTERFACES_C_H
#define QBFLVPLUS_HOST_INTERFACES_C_H

/* NOLINTBEGIN(modernize-*): this is C. */
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------------------------------------------------
   Statuses
   ------------------------------------------------------------------------------------------------------------------ */

typedef int32_t QBStatus;

#define QB_OK 0
#define QB_NOT_IMPLEMENTED (-0x7FFFBFFF)    /* 0x80004001 */
#define QB_NO_INTERFACE (-0x7FFFBFFE)       /* 0x80004002 */
#define QB_FAILED (-0x7FFFBFFB)             /* 0x80004005: malformed data, or a lookup that finds nothing */
#define QB_OUT_OF_MEMORY (-0x7FF8FFF2)      /* 0x8007000E */
#define QB_INVALID_ARGUMENT (-0x7FF8FFA9)   /* 0x80070057 */
#define QB_INVALID_STATE (-0x7FFBFFF7)      /* 0x80040009: not allowed in the present state */
#define QB_PREFERS_LINEAR_ACCESS 0x0004008D /* success of IQBSourceFile.SetAccessHint */

/* ------------------------------------------------------------------------------------------------------------------
   Identifiers
   ------------------------------------------------------------------------------------------------------------------ */

/* 16 bytes: three fields in the machine's byte order, then eight single bytes. */
typedef struct QBGuid {
  uint32_t data1;
  uint16_t data2;
  uint16_t data3;
  uint8_t data4[8];
} QBGuid;

/* Initialisers: const QBGuid id = IQBPLUGIN_ID; */
#define QB_FRAMEWORK_ID(first)                                                  \
  {                                                                             \
    (first), 0x0901, 0x11D1, { 0x8B, 0x06, 0x00, 0xA0, 0x24, 0x40, 0x6D, 0x59 } \
  }

#define IQBUNKNOWN_ID                                                              \
  {                                                                                \
    0x00000000, 0x0000, 0x0000, { 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46 } \
  }
#define IQBBUFFER_ID QB_FRAMEWORK_ID(0x00001300)
#define IQBPACKET_ID QB_FRAMEWORK_ID(0x00001301)
#define IQBRTPPACKET_ID                                                            \
  {                                                                                \
    0x0169A731, 0x1ED0, 0x11D4, { 0x95, 0x2B, 0x00, 0x90, 0x27, 0x42, 0xC9, 0x23 } \
  }
#define IQBPROPERTYLIST_ID QB_FRAMEWORK_ID(0x00001302)
#define IQBOBJECTFACTORY_ID QB_FRAMEWORK_ID(0x00000000)
#define IQBPREFERENCES_ID QB_FRAMEWORK_ID(0x00000500)
#define IQBFILERESPONSE_ID QB_FRAMEWORK_ID(0x00000201)
#define IQBFILESTAT_ID QB_FRAMEWORK_ID(0x00000205)
#define IQBFILESTATRESPONSE_ID QB_FRAMEWORK_ID(0x00000206)
#define IQBPLUGIN_ID QB_FRAMEWORK_ID(0x00000C00)
#define IQBFILEFORMATOBJECT_ID QB_FRAMEWORK_ID(0x00000F00)
#define IQBINTERRUPTSAFE_ID QB_FRAMEWORK_ID(0x0000010B)
#define IQBPACKETFORMAT_ID QB_FRAMEWORK_ID(0x00000F03)

/* ------------------------------------------------------------------------------------------------------------------
   Every interface: IQBUnknown
   ------------------------------------------------------------------------------------------------------------------ */

typedef void (*QBReservedSlot)(void);

typedef struct IQBUnknown IQBUnknown;
typedef struct IQBBuffer IQBBuffer;
typedef struct IQBPacket IQBPacket;
typedef struct IQBRTPPacket IQBRTPPacket;
typedef struct IQBPropertyList IQBPropertyList;
typedef struct IQBObjectFactory IQBObjectFactory;
typedef struct IQBPreferences IQBPreferences;
typedef struct IQBRequest IQBRequest;
typedef struct IQBFileResponse IQBFileResponse;
typedef struct IQBFileStatResponse IQBFileStatResponse;
typedef struct IQBSourceFile IQBSourceFile;
typedef struct IQBFileStat IQBFileStat;
typedef struct IQBFormatSink IQBFormatSink;
typedef struct IQBPlugin IQBPlugin;
typedef struct IQBFileFormatObject IQBFileFormatObject;
typedef struct IQBInterruptSafe IQBInterruptSafe;
typedef struct IQBPacketFormat IQBPacketFormat;

/* Slots 0 to 2 of every table.
   QueryInterface stores the requested interface with one reference, or null and returns QB_NO_INTERFACE.
   AddRef and Release return the new count; the last Release destroys the object. */
typedef struct IQBUnknownTable {
  QBStatus (*QueryInterface)(IQBUnknown* self, const QBGuid* id, void** object);
  uint32_t (*AddRef)(IQBUnknown* self);
  uint32_t (*Release)(IQBUnknown* self);
} IQBUnknownTable;
struct IQBUnknown {
  const IQBUnknownTable* table;
};

/* ------------------------------------------------------------------------------------------------------------------
   What the host implements: buffers, packets and property lists. Only their last Release may call the plug-in.
   ------------------------------------------------------------------------------------------------------------------ */

/* A block of bytes.
   Set replaces the content with a copy. SetSize keeps the bytes up to the smaller of the two sizes.
   GetBuffer's bytes stay valid until the buffer is changed or released; null is allowed for size 0. */
typedef struct IQBBufferTable {
  QBStatus (*QueryInterface)(IQBBuffer* self, const QBGuid* id, void** object);
  uint32_t (*AddRef)(IQBBuffer* self);
  uint32_t (*Release)(IQBBuffer* self);
  QBReservedSlot ReservedSlot3;
  QBStatus (*Set)(IQBBuffer* self, const uint8_t* bytes, uint32_t length);
  QBStatus (*SetSize)(IQBBuffer* self, uint32_t size);
  uint32_t (*GetSize)(IQBBuffer* self);
  uint8_t* (*GetBuffer)(IQBBuffer* self);
} IQBBufferTable;
struct IQBBuffer {
  const IQBBufferTable* table;
};

/* A media packet.
   GetPacketBuffer returns the bytes with one reference for the caller, or null. GetTime is in ms.
   GetASMFlags: 3 for audio and key frames, 2 for other video frames. GetASMRuleNumber: a rule of "ASMRuleBook".
   IsLost: 1 for a placeholder of a lost packet. Set keeps one reference to buffer. */
typedef struct IQBPacketTable {
  QBStatus (*QueryInterface)(IQBPacket* self, const QBGuid* id, void** object);
  uint32_t (*AddRef)(IQBPacket* self);
  uint32_t (*Release)(IQBPacket* self);
  QBReservedSlot ReservedSlot3;
  IQBBuffer* (*GetPacketBuffer)(IQBPacket* self);
  uint32_t (*GetTime)(IQBPacket* self);
  uint16_t (*GetStreamNumber)(IQBPacket* self);
  uint8_t (*GetASMFlags)(IQBPacket* self);
  uint16_t (*GetASMRuleNumber)(IQBPacket* self);
  int32_t (*IsLost)(IQBPacket* self);
  QBReservedSlot ReservedSlot10;
  QBStatus (*Set)(IQBPacket* self, IQBBuffer* buffer, uint32_t time, uint16_t stream, uint8_t asmFlags,
                  uint16_t asmRule);
} IQBPacketTable;
struct IQBPacket {
  const IQBPacketTable* table;
};

/* A packet that also has a time in units of the stream's RTP clock. Optional for hosts. */
typedef struct IQBRTPPacketTable {
  QBStatus (*QueryInterface)(IQBRTPPacket* self, const QBGuid* id, void** object);
  uint32_t (*AddRef)(IQBRTPPacket* self);
  uint32_t (*Release)(IQBRTPPacket* self);
  QBReservedSlot ReservedSlot3;
  IQBBuffer* (*GetPacketBuffer)(IQBRTPPacket* self);
  uint32_t (*GetTime)(IQBRTPPacket* self);
  uint16_t (*GetStreamNumber)(IQBRTPPacket* self);
  uint8_t (*GetASMFlags)(IQBRTPPacket* self);
  uint16_t (*GetASMRuleNumber)(IQBRTPPacket* self);
  int32_t (*IsLost)(IQBRTPPacket* self);
  QBReservedSlot ReservedSlot10;
  QBStatus (*Set)(IQBRTPPacket* self, IQBBuffer* buffer, uint32_t time, uint16_t stream, uint8_t asmFlags,
                  uint16_t asmRule);
  uint32_t (*GetRTPTime)(IQBRTPPacket* self);
  QBReservedSlot ReservedSlot13;
  QBStatus (*SetRTP)(IQBRTPPacket* self, IQBBuffer* buffer, uint32_t time, uint32_t rtpTime, uint16_t stream,
                     uint8_t asmFlags, uint16_t asmRule);
} IQBRTPPacketTable;
struct IQBRTPPacket {
  const IQBRTPPacketTable* table;
};

/* Named values: numbers, byte blocks, and texts (buffers that hold the text and its NUL). A setter replaces the value
   of the name and keeps one reference to a buffer. Names are borrowed. A getter stores a buffer with one reference, and
   fails for a name that is absent or has a value of another kind. */
typedef struct IQBPropertyListTable {
  QBStatus (*QueryInterface)(IQBPropertyList* self, const QBGuid* id, void** object);
  uint32_t (*AddRef)(IQBPropertyList* self);
  uint32_t (*Release)(IQBPropertyList* self);
  QBStatus (*SetULONG32)(IQBPropertyList* self, const char* name, uint32_t value);
  QBStatus (*GetULONG32)(IQBPropertyList* self, const char* name, uint32_t* value);
  QBReservedSlot ReservedSlot5;
  QBReservedSlot ReservedSlot6;
  QBStatus (*SetBuffer)(IQBPropertyList* self, const char* name, IQBBuffer* value);
  QBStatus (*GetBuffer)(IQBPropertyList* self, const char* name, IQBBuffer** value);
  QBReservedSlot ReservedSlot9;
  QBReservedSlot ReservedSlot10;
  QBStatus (*SetCString)(IQBPropertyList* self, const char* name, IQBBuffer* value);
  QBStatus (*GetCString)(IQBPropertyList* self, const char* name, IQBBuffer** value);
} IQBPropertyListTable;
struct IQBPropertyList {
  const IQBPropertyListTable* table;
};

/* ------------------------------------------------------------------------------------------------------------------
   What the host implements: its context. The plug-in queries it for the next two interfaces.
   ------------------------------------------------------------------------------------------------------------------ */

/* CreateInstance stores the interface classId (IQBBuffer, IQBPacket, IQBRTPPacket or IQBPropertyList) of a new, empty
   object with one reference. */
typedef struct IQBObjectFactoryTable {
  QBStatus (*QueryInterface)(IQBObjectFactory* self, const QBGuid* id, void** object);
  uint32_t (*AddRef)(IQBObjectFactory* self);
  uint32_t (*Release)(IQBObjectFactory* self);
  QBStatus (*CreateInstance)(IQBObjectFactory* self, const QBGuid* classId, void** object);
} IQBObjectFactoryTable;
struct IQBObjectFactory {
  const IQBObjectFactoryTable* table;
};

/* Optional. ReadPref stores the value as text in a buffer with one reference. Only QB_OK counts as set. */
typedef struct IQBPreferencesTable {
  QBStatus (*QueryInterface)(IQBPreferences* self, const QBGuid* id, void** object);
  uint32_t (*AddRef)(IQBPreferences* self);
  uint32_t (*Release)(IQBPreferences* self);
  QBStatus (*ReadPref)(IQBPreferences* self, const char* name, IQBBuffer** value);
} IQBPreferencesTable;
struct IQBPreferences {
  const IQBPreferencesTable* table;
};

/* What a client requested. GetHeaders stores a list with one reference. GetURL's text stays valid as long as the object
   holds the request. */
typedef struct IQBRequestTable {
  QBStatus (*QueryInterface)(IQBRequest* self, const QBGuid* id, void** object);
  uint32_t (*AddRef)(IQBRequest* self);
  uint32_t (*Release)(IQBRequest* self);
  QBReservedSlot ReservedSlot3;
  QBStatus (*GetHeaders)(IQBRequest* self, IQBPropertyList** headers);
  QBReservedSlot ReservedSlot5;
  QBReservedSlot ReservedSlot6;
  QBReservedSlot ReservedSlot7;
  QBStatus (*GetURL)(IQBRequest* self, const char** url);
} IQBRequestTable;
struct IQBRequest {
  const IQBRequestTable* table;
};

/* ------------------------------------------------------------------------------------------------------------------
   What the plug-in implements for the file object
   ------------------------------------------------------------------------------------------------------------------ */

/* Receives the completions of the file object, inside the call that starts the operation or later.
   InitDone, ReadDone and SeekDone complete the operations of IQBSourceFile. ReadDone's buffer is borrowed, null on
   failure, and at the end of the file shorter than requested.
   Each returns QB_INVALID_STATE for a completion that the object does not expect; that is not an error after Seek,
   Close or another InitFileFormat. */
typedef struct IQBFileResponseTable {
  QBStatus (*QueryInterface)(IQBFileResponse* self, const QBGuid* id, void** object);
  uint32_t (*AddRef)(IQBFileResponse* self);
  uint32_t (*Release)(IQBFileResponse* self);
  QBStatus (*InitDone)(IQBFileResponse* self, QBStatus status);
  QBStatus (*CloseDone)(IQBFileResponse* self, QBStatus status); /* without effect */
  QBStatus (*ReadDone)(IQBFileResponse* self, QBStatus status, IQBBuffer* buffer);
  QBStatus (*WriteDone)(IQBFileResponse* self, QBStatus status); /* without effect */
  QBStatus (*SeekDone)(IQBFileResponse* self, QBStatus status);
} IQBFileResponseTable;
struct IQBFileResponse {
  const IQBFileResponseTable* table;
};

/* StatDone completes IQBFileStat.Stat: size in bytes, used only if the status is not negative. Hosts may pass further
   values after it. */
typedef struct IQBFileStatResponseTable {
  QBStatus (*QueryInterface)(IQBFileStatResponse* self, const QBGuid* id, void** object);
  uint32_t (*AddRef)(IQBFileStatResponse* self);
  uint32_t (*Release)(IQBFileStatResponse* self);
  QBStatus (*StatDone)(IQBFileStatResponse* self, QBStatus status, uint32_t size);
} IQBFileStatResponseTable;
struct IQBFileStatResponse {
  const IQBFileStatResponseTable* table;
};

/* ------------------------------------------------------------------------------------------------------------------
   What the host implements: the file and the sink
   ------------------------------------------------------------------------------------------------------------------ */

/* One file. Each operation that returns a success is completed exactly once, and operations of one kind in the order of
   their calls. One operation is pending at a time; only Close, and a Seek when the host seeks, may come before its
   completion.
   Init keeps one reference to response until the last completion; flags are always 5. Close has no completion.
   Read advances the position by the bytes read; count may be 0. Seek's offset is absolute and may be past the end;
   relative is always 0. SetAccessHint's hint is always 1; QB_PREFERS_LINEAR_ACCESS keeps the object from seeking to the
   end of the file. */
typedef struct IQBSourceFileTable {
  QBStatus (*QueryInterface)(IQBSourceFile* self, const QBGuid* id, void** object);
  uint32_t (*AddRef)(IQBSourceFile* self);
  uint32_t (*Release)(IQBSourceFile* self);
  QBStatus (*Init)(IQBSourceFile* self, uint32_t flags, IQBFileResponse* response);
  QBReservedSlot ReservedSlot4;
  QBStatus (*Close)(IQBSourceFile* self);
  QBStatus (*Read)(IQBSourceFile* self, uint32_t count);
  QBReservedSlot ReservedSlot7;
  QBStatus (*Seek)(IQBSourceFile* self, uint32_t offset, int32_t relative);
  QBStatus (*SetAccessHint)(IQBSourceFile* self, uint32_t hint);
} IQBSourceFileTable;
struct IQBSourceFile {
  const IQBSourceFileTable* table;
};

/* Optional; queried from the file. Stat is completed by response's StatDone; response is borrowed, so keep a reference
   until then. A failure status without a completion inside the call fails the opening of the file. */
typedef struct IQBFileStatTable {
  QBStatus (*QueryInterface)(IQBFileStat* self, const QBGuid* id, void** object);
  uint32_t (*AddRef)(IQBFileStat* self);
  uint32_t (*Release)(IQBFileStat* self);
  QBStatus (*Stat)(IQBFileStat* self, IQBFileStatResponse* response);
} IQBFileStatTable;
struct IQBFileStat {
  const IQBFileStatTable* table;
};

/* Receives what the object produces. Lists and packets are borrowed for the call, and lists are null on failure. The
   host releases the packets that it keeps before its last reference to the object. The object ignores the returned
   statuses.
   InitDone ends InitFileFormat; PacketReady ends one GetPacket of the packet's stream; SeekDone ends Seek;
   FileHeaderReady ends GetFileHeader; StreamHeaderReady ends GetStreamHeader. StreamDone: the stream has no more
   packets until a Seek; it also ends a pending GetPacket of the stream. */
typedef struct IQBFormatSinkTable {
  QBStatus (*QueryInterface)(IQBFormatSink* self, const QBGuid* id, void** object);
  uint32_t (*AddRef)(IQBFormatSink* self);
  uint32_t (*Release)(IQBFormatSink* self);
  QBStatus (*InitDone)(IQBFormatSink* self, QBStatus status);
  QBStatus (*PacketReady)(IQBFormatSink* self, QBStatus status, IQBPacket* packet);
  QBStatus (*SeekDone)(IQBFormatSink* self, QBStatus status);
  QBStatus (*FileHeaderReady)(IQBFormatSink* self, QBStatus status, IQBPropertyList* header);
  QBStatus (*StreamHeaderReady)(IQBFormatSink* self, QBStatus status, IQBPropertyList* header);
  QBStatus (*StreamDone)(IQBFormatSink* self, uint16_t stream);
} IQBFormatSinkTable;
struct IQBFormatSink {
  const IQBFormatSinkTable* table;
};

/* ------------------------------------------------------------------------------------------------------------------
   What the plug-in implements for the host
   ------------------------------------------------------------------------------------------------------------------ */

/* The object's first interface. GetPluginInfo: flag is always 1; the texts are static; each out pointer may be null.
   InitPlugin keeps one reference to context until Close. */
typedef struct IQBPluginTable {
  QBStatus (*QueryInterface)(IQBPlugin* self, const QBGuid* id, void** object);
  uint32_t (*AddRef)(IQBPlugin* self);
  uint32_t (*Release)(IQBPlugin* self);
  QBStatus (*GetPluginInfo)(IQBPlugin* self, uint32_t* flag, const char** description, const char** copyright,
                            const char** moreInfo, uint32_t* version);
  QBStatus (*InitPlugin)(IQBPlugin* self, IQBUnknown* context);
} IQBPluginTable;
struct IQBPlugin {
  const IQBPluginTable* table;
};

/* Reads one file. A request that the present state does not allow returns QB_INVALID_STATE and changes nothing; one
   that returns QB_OK ends with a call to the sink, unless a later request cancels it. GetFileFormatInfo stores static
   arrays of texts that end with null. InitFileFormat keeps one reference to each argument until Close. GetPacket: one
   pending request per stream. Seek: time in ms from the file's first audio or video tag, less than 2^31; it cancels
   pending requests, and a later Seek supersedes it. Close cancels everything and releases all host objects. */
typedef struct IQBFileFormatObjectTable {
  QBStatus (*QueryInterface)(IQBFileFormatObject* self, const QBGuid* id, void** object);
  uint32_t (*AddRef)(IQBFileFormatObject* self);
  uint32_t (*Release)(IQBFileFormatObject* self);
  QBStatus (*GetFileFormatInfo)(IQBFileFormatObject* self, const char* const** mimeTypes,
                                const char* const** extensions, const char* const** openNames);
  QBStatus (*InitFileFormat)(IQBFileFormatObject* self, IQBRequest* request, IQBFormatSink* sink, IQBSourceFile* file);
  QBStatus (*GetFileHeader)(IQBFileFormatObject* self);
  QBStatus (*GetStreamHeader)(IQBFileFormatObject* self, uint16_t stream);
  QBStatus (*GetPacket)(IQBFileFormatObject* self, uint16_t stream);
  QBStatus (*Seek)(IQBFileFormatObject* self, uint32_t time);
  QBStatus (*Close)(IQBFileFormatObject* self);
} IQBFileFormatObjectTable;
struct IQBFileFormatObject {
  const IQBFileFormatObjectTable* table;
};

/* IsInterruptSafe returns 1: the object never blocks. */
typedef struct IQBInterruptSafeTable {
  QBStatus (*QueryInterface)(IQBInterruptSafe* self, const QBGuid* id, void** object);
  uint32_t (*AddRef)(IQBInterruptSafe* self);
  uint32_t (*Release)(IQBInterruptSafe* self);
  int32_t (*IsInterruptSafe)(IQBInterruptSafe* self);
} IQBInterruptSafeTable;
struct IQBInterruptSafe {
  const IQBInterruptSafeTable* table;
};

/* The formats of packets: a static array that ends with null. SetPacketFormat is without effect. */
typedef struct IQBPacketFormatTable {
  QBStatus (*QueryInterface)(IQBPacketFormat* self, const QBGuid* id, void** object);
  uint32_t (*AddRef)(IQBPacketFormat* self);
  uint32_t (*Release)(IQBPacketFormat* self);
  QBStatus (*GetSupportedPacketFormats)(IQBPacketFormat* self, const char* const** formats);
  QBStatus (*SetPacketFormat)(IQBPacketFormat* self, const char* format);
} IQBPacketFormatTable;
struct IQBPacketFormat {
  const IQBPacketFormatTable* table;
};

/* ------------------------------------------------------------------------------------------------------------------
   What the library exports
   ------------------------------------------------------------------------------------------------------------------ */

/* Stores the IQBPlugin of a new object with one reference. QB_OUT_OF_MEMORY with null if the main program does not
   export the C++ heap operators. */
#define QBM_CREATE_INSTANCE_NAME "QBMCreateInstance"
typedef QBStatus (*QBMCreateInstanceFunction)(IQBUnknown** object);

/* QB_OK if the library has no live object and may be unloaded, else QB_FAILED. */
#define QBM_CAN_UNLOAD_NAME "CanUnload2"
typedef QBStatus (*QBMCanUnloadFunction)(void);

#ifdef __cplusplus
}
#endif
/* NOLINTEND(modernize-*) */

#endif
