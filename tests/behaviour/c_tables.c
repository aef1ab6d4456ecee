/* The library as a host in another language sees it: tables of functions, and heap operators that are C functions under
   the names that the library looks up. Calls every operation of every table. */
#include "tests/support/c_host.h"

#ifdef _WIN32
#define OPERATOR_NEW "_Znwy"
#define OPERATOR_NEW_ARRAY "_Znay"
#else
#define OPERATOR_NEW "_Znwm"
#define OPERATOR_NEW_ARRAY "_Znam"
#endif

static int blocks;

static void* Take(size_t size) {
  ++blocks;
  return malloc(size);
}
static void Give(void* block) {
  if (block != NULL) --blocks;
  free(block);
}
void* OperatorNew(size_t size) __asm__(OPERATOR_NEW);
void* OperatorNewArray(size_t size) __asm__(OPERATOR_NEW_ARRAY);
void OperatorDelete(void* block) __asm__("_ZdlPv");
void OperatorDeleteArray(void* block) __asm__("_ZdaPv");
void* OperatorNew(size_t size) { return Take(size); }
void* OperatorNewArray(size_t size) { return Take(size); }
void OperatorDelete(void* block) { Give(block); }
void OperatorDeleteArray(void* block) { Give(block); }

/* A context: an object with nothing but the first three slots. */
typedef struct {
  IQBUnknown base;
  uint32_t references;
} Context;
static QBStatus ContextQuery(IQBUnknown* self, const QBGuid* id, void** out) {
  (void)self;
  (void)id;
  *out = NULL;
  return QB_NO_INTERFACE;
}
static uint32_t ContextAddRef(IQBUnknown* self) { return ++((Context*)self)->references; }
static uint32_t ContextRelease(IQBUnknown* self) { return --((Context*)self)->references; }

static int failures;

static void Expect(int holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "not so: %s\n", what);
  ++failures;
}
#define EXPECT(condition) Expect((condition) != 0, #condition)
#define EXPECT_STATUS(expected, call) Expect((uint32_t)(call) == (uint32_t)(expected), #call " returns " #expected)

static const QBGuid kIdentifiers[] = {IQBUNKNOWN_ID,      IQBPLUGIN_ID,           IQBFILEFORMATOBJECT_ID,
                                      IQBFILERESPONSE_ID, IQBFILESTATRESPONSE_ID, IQBINTERRUPTSAFE_ID,
                                      IQBPACKETFORMAT_ID};
enum { kUnknown, kPlugin, kFormat, kResponse, kStatResponse, kInterruptSafe, kPacketFormat, kCount };

/* Takes one reference to each interface. */
static void QueryAll(IQBUnknown* object, void** interfaces) {
  for (int i = 0; i < kCount; ++i) {
    interfaces[i] = NULL;
    EXPECT_STATUS(QB_OK, object->table->QueryInterface(object, &kIdentifiers[i], &interfaces[i]));
    if (interfaces[i] == NULL) exit(1);
  }
}

static int IsOneText(const char* const* list, const char* text) {
  return strcmp(list[0], text) == 0 && list[1] == NULL;
}

static void CallPlugin(IQBPlugin* plugin, Context* contexts) {
  uint32_t flag = 0;
  uint32_t version = 0;
  const char* texts[3] = {NULL, NULL, NULL};
  EXPECT_STATUS(QB_OK, plugin->table->GetPluginInfo(plugin, &flag, &texts[0], &texts[1], &texts[2], &version));
  EXPECT(flag == 1 && version == 0xE03000DEu);
  EXPECT(strcmp(texts[0], "Quelbar FLV File Format Plugin") == 0 && texts[1][0] != '\0' && texts[2][0] != '\0');
  EXPECT_STATUS(QB_FAILED, plugin->table->InitPlugin(plugin, NULL));
  EXPECT_STATUS(QB_OK, plugin->table->InitPlugin(plugin, &contexts[0].base));
  EXPECT_STATUS(QB_OK, plugin->table->InitPlugin(plugin, &contexts[1].base));
  EXPECT_STATUS(QB_FAILED, plugin->table->InitPlugin(plugin, NULL));
  EXPECT(contexts[0].references == 1 && contexts[1].references == 2);
}

static void CallFormat(IQBFileFormatObject* format) {
  const char* const* lists[3] = {NULL, NULL, NULL};
  EXPECT_STATUS(QB_OK, format->table->GetFileFormatInfo(format, &lists[0], &lists[1], &lists[2]));
  EXPECT(IsOneText(lists[0], "video/x-flv") && IsOneText(lists[1], "flv"));
  EXPECT(IsOneText(lists[2], "Flash Video Files (*.flv)"));
  EXPECT_STATUS(QB_INVALID_STATE, format->table->InitFileFormat(format, NULL, NULL, NULL));
  EXPECT_STATUS(QB_INVALID_STATE, format->table->GetFileHeader(format));
  EXPECT_STATUS(QB_INVALID_STATE, format->table->GetStreamHeader(format, 0));
  EXPECT_STATUS(QB_INVALID_STATE, format->table->GetPacket(format, 0));
  EXPECT_STATUS(QB_INVALID_STATE, format->table->Seek(format, 0));
  EXPECT_STATUS(QB_OK, format->table->Close(format));
}

/* StatDone as hosts call it that pass all values of their file's status. */
typedef QBStatus (*LongStatDone)(IQBFileStatResponse* self, QBStatus status, uint32_t size, ...);

static void CallResponses(IQBFileResponse* response, IQBFileStatResponse* statResponse) {
  EXPECT_STATUS(QB_INVALID_STATE, response->table->InitDone(response, QB_OK));
  EXPECT_STATUS(QB_OK, response->table->CloseDone(response, QB_OK));
  EXPECT_STATUS(QB_INVALID_STATE, response->table->ReadDone(response, QB_OK, NULL));
  EXPECT_STATUS(QB_NOT_IMPLEMENTED, response->table->WriteDone(response, QB_OK));
  EXPECT_STATUS(QB_INVALID_STATE, response->table->SeekDone(response, QB_OK));
  EXPECT_STATUS(QB_INVALID_STATE, ((LongStatDone)statResponse->table->StatDone)(statResponse, QB_OK, 1, 2, 3));
}

static void CallTheOthers(IQBInterruptSafe* interruptSafe, IQBPacketFormat* packetFormat) {
  EXPECT(interruptSafe->table->IsInterruptSafe(interruptSafe) == 1);
  const char* const* formats = NULL;
  EXPECT_STATUS(QB_OK, packetFormat->table->GetSupportedPacketFormats(packetFormat, &formats));
  EXPECT(IsOneText(formats, "rtmp"));
  EXPECT_STATUS(QB_OK, packetFormat->table->SetPacketFormat(packetFormat, "anything"));
}

static void CallEverything(IQBPlugin* plugin) {
  static const IQBUnknownTable contextTable = {ContextQuery, ContextAddRef, ContextRelease};
  Context contexts[2] = {{{&contextTable}, 1}, {{&contextTable}, 1}};
  CallPlugin(plugin, contexts);
  void* interfaces[kCount];
  QueryAll((IQBUnknown*)plugin, interfaces);
  EXPECT(interfaces[kPlugin] == plugin);
  CallFormat(interfaces[kFormat]);
  EXPECT(contexts[1].references == 1);
  CallResponses(interfaces[kResponse], interfaces[kStatResponse]);
  CallTheOthers(interfaces[kInterruptSafe], interfaces[kPacketFormat]);
  for (int i = 0; i < kCount; ++i) {
    IQBUnknown* const from = interfaces[i];
    void* found[kCount];
    QueryAll(from, found);
    EXPECT(memcmp(found, interfaces, sizeof(found)) == 0);
    EXPECT(from->table->AddRef(from) == 2 + 2 * kCount);
    for (int j = 0; j <= kCount; ++j) EXPECT(from->table->Release(from) == 1 + 2 * kCount - (uint32_t)j);
  }
  for (int i = 0; i < kCount; ++i) ((IQBUnknown*)interfaces[i])->table->Release(interfaces[i]);
  EXPECT(plugin->table->AddRef(plugin) == 2);
  EXPECT(plugin->table->Release(plugin) == 1);
}

int main(int count, char** arguments) {
  const Exports library = LoadExports(count, arguments);
  IQBUnknown* object = NULL;
  EXPECT_STATUS(QB_OK, library.createInstance(&object));
  EXPECT(blocks == 1);
  EXPECT_STATUS(QB_FAILED, library.canUnload());
  CallEverything((IQBPlugin*)object);
  EXPECT(object->table->Release(object) == 0);
  EXPECT_STATUS(QB_OK, library.canUnload());
  EXPECT(blocks == 0);
  return failures != 0;
}
