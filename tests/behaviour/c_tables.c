/* The library as a host in another language sees it: tables of functions as plain C structs, and heap operators that
   are C functions under the names that the library looks up. Calls every operation of every table. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#ifdef _WIN32
#include <windows.h>
#define OPERATOR_NEW "_Znwy"
#define OPERATOR_NEW_ARRAY "_Znay"
static void* Load(const char* path) { return (void*)LoadLibraryA(path); }
static void* Find(void* library, const char* name) { return (void*)GetProcAddress((HMODULE)library, name); }
#else
#include <dlfcn.h>
#define OPERATOR_NEW "_Znwm"
#define OPERATOR_NEW_ARRAY "_Znam"
static void* Load(const char* path) { return dlopen(path, RTLD_NOW | RTLD_LOCAL); }
static void* Find(void* library, const char* name) { return dlsym(library, name); }
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

typedef struct {
  uint32_t data1;
  uint16_t data2;
  uint16_t data3;
  uint8_t data4[8];
} Guid;

/* What every table begins with. */
typedef struct {
  int32_t (*queryInterface)(void* self, const Guid* id, void** out);
  uint32_t (*addRef)(void* self);
  uint32_t (*release)(void* self);
} UnknownTable;

typedef struct Plugin Plugin;
typedef struct {
  UnknownTable unknown;
  int32_t (*getPluginInfo)(Plugin*, uint32_t* flag, const char**, const char**, const char**, uint32_t* version);
  int32_t (*initPlugin)(Plugin*, void* context);
} PluginTable;
struct Plugin {
  const PluginTable* table;
};

typedef struct Format Format;
typedef struct {
  UnknownTable unknown;
  int32_t (*getFileFormatInfo)(Format*, const char* const**, const char* const**, const char* const**);
  int32_t (*initFileFormat)(Format*, void* request, void* sink, void* file);
  int32_t (*getFileHeader)(Format*);
  int32_t (*getStreamHeader)(Format*, uint16_t stream);
  int32_t (*getPacket)(Format*, uint16_t stream);
  int32_t (*seek)(Format*, uint32_t time);
  int32_t (*close)(Format*);
} FormatTable;
struct Format {
  const FormatTable* table;
};

typedef struct Response Response;
typedef struct {
  UnknownTable unknown;
  int32_t (*initDone)(Response*, int32_t status);
  int32_t (*closeDone)(Response*, int32_t status);
  int32_t (*readDone)(Response*, int32_t status, void* buffer);
  int32_t (*writeDone)(Response*, int32_t status);
  int32_t (*seekDone)(Response*, int32_t status);
} ResponseTable;
struct Response {
  const ResponseTable* table;
};

typedef struct StatResponse StatResponse;
typedef struct {
  UnknownTable unknown;
  int32_t (*statDone)(StatResponse*, int32_t status, uint32_t size, ...);
} StatResponseTable;
struct StatResponse {
  const StatResponseTable* table;
};

typedef struct InterruptSafe InterruptSafe;
typedef struct {
  UnknownTable unknown;
  int32_t (*isInterruptSafe)(InterruptSafe*);
} InterruptSafeTable;
struct InterruptSafe {
  const InterruptSafeTable* table;
};

typedef struct PacketFormat PacketFormat;
typedef struct {
  UnknownTable unknown;
  int32_t (*getSupportedPacketFormats)(PacketFormat*, const char* const**);
  int32_t (*setPacketFormat)(PacketFormat*, const char* format);
} PacketFormatTable;
struct PacketFormat {
  const PacketFormatTable* table;
};

/* A context: an object with nothing but the first three slots. */
typedef struct {
  const UnknownTable* table;
  uint32_t references;
} Context;
static int32_t ContextQuery(void* self, const Guid* id, void** out) {
  (void)self;
  (void)id;
  *out = NULL;
  return (int32_t)0x80004002u;
}
static uint32_t ContextAddRef(void* self) { return ++((Context*)self)->references; }
static uint32_t ContextRelease(void* self) { return --((Context*)self)->references; }

static int failures;

static void Expect(int holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "not so: %s\n", what);
  ++failures;
}
#define EXPECT(condition) Expect((condition) != 0, #condition)
#define EXPECT_STATUS(expected, call) Expect((uint32_t)(call) == (uint32_t)(expected), #call " answers " #expected)

static const Guid kUnknown = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

static void* Query(Plugin* plugin, uint32_t data1) {
  const Guid id = {data1, 0x0901, 0x11D1, {0x8B, 0x06, 0x00, 0xA0, 0x24, 0x40, 0x6D, 0x59}};
  void* object = NULL;
  EXPECT_STATUS(0, plugin->table->unknown.queryInterface(plugin, &id, &object));
  if (object == NULL) exit(1);
  return object;
}

static void CallFormat(Format* format) {
  const char* const* lists[3] = {NULL, NULL, NULL};
  EXPECT_STATUS(0, format->table->getFileFormatInfo(format, &lists[0], &lists[1], &lists[2]));
  EXPECT(strcmp(lists[0][0], "video/x-flv") == 0 && lists[0][1] == NULL);
  EXPECT(strcmp(lists[1][0], "flv") == 0 && lists[1][1] == NULL);
  EXPECT(strcmp(lists[2][0], "Flash Video Files (*.flv)") == 0 && lists[2][1] == NULL);
  EXPECT_STATUS(0x80040009, format->table->initFileFormat(format, NULL, NULL, NULL));
  EXPECT_STATUS(0x80040009, format->table->getFileHeader(format));
  EXPECT_STATUS(0x80040009, format->table->getStreamHeader(format, 0));
  EXPECT_STATUS(0x80040009, format->table->getPacket(format, 0));
  EXPECT_STATUS(0x80040009, format->table->seek(format, 0));
  EXPECT_STATUS(0, format->table->close(format));
}

static void CallResponses(Response* response, StatResponse* statResponse) {
  EXPECT_STATUS(0x80040009, response->table->initDone(response, 0));
  EXPECT_STATUS(0, response->table->closeDone(response, 0));
  EXPECT_STATUS(0x80040009, response->table->readDone(response, 0, NULL));
  EXPECT_STATUS(0x80004001, response->table->writeDone(response, 0));
  EXPECT_STATUS(0x80040009, response->table->seekDone(response, 0));
  EXPECT_STATUS(0x80040009, statResponse->table->statDone(statResponse, 0, 1, 2, 3));
}

static void CallTheRest(InterruptSafe* interruptSafe, PacketFormat* packetFormat) {
  EXPECT(interruptSafe->table->isInterruptSafe(interruptSafe) == 1);
  const char* const* formats = NULL;
  EXPECT_STATUS(0, packetFormat->table->getSupportedPacketFormats(packetFormat, &formats));
  EXPECT(strcmp(formats[0], "rtmp") == 0 && formats[1] == NULL);
  EXPECT_STATUS(0, packetFormat->table->setPacketFormat(packetFormat, "anything"));
}

static void CallPlugin(Plugin* plugin) {
  uint32_t flag = 0;
  uint32_t version = 0;
  const char* texts[3] = {NULL, NULL, NULL};
  EXPECT_STATUS(0, plugin->table->getPluginInfo(plugin, &flag, &texts[0], &texts[1], &texts[2], &version));
  EXPECT(flag == 1 && version == 0xE03000DEu);
  EXPECT(strcmp(texts[0], "Quelbar FLV File Format Plugin") == 0 && texts[1] != NULL && texts[2] != NULL);

  static const UnknownTable contextTable = {ContextQuery, ContextAddRef, ContextRelease};
  Context context = {&contextTable, 1};
  EXPECT_STATUS(0x80004005, plugin->table->initPlugin(plugin, NULL));
  EXPECT_STATUS(0, plugin->table->initPlugin(plugin, &context));
  EXPECT(context.references == 2);

  Format* format = Query(plugin, 0x00000F00);
  Response* response = Query(plugin, 0x00000201);
  StatResponse* statResponse = Query(plugin, 0x00000206);
  InterruptSafe* interruptSafe = Query(plugin, 0x0000010B);
  PacketFormat* packetFormat = Query(plugin, 0x00000F03);
  CallFormat(format);
  EXPECT(context.references == 1);
  CallResponses(response, statResponse);
  CallTheRest(interruptSafe, packetFormat);

  void* identity = NULL;
  EXPECT_STATUS(0, packetFormat->table->unknown.queryInterface(packetFormat, &kUnknown, &identity));
  EXPECT(identity == plugin);
  EXPECT(plugin->table->unknown.addRef(plugin) == 8);
  EXPECT(interruptSafe->table->unknown.release(interruptSafe) == 7);
  EXPECT(statResponse->table->unknown.release(statResponse) == 6);
  EXPECT(response->table->unknown.release(response) == 5);
  EXPECT(format->table->unknown.release(format) == 4);
  EXPECT(packetFormat->table->unknown.release(packetFormat) == 3);
  EXPECT(plugin->table->unknown.release(plugin) == 2);
  EXPECT(plugin->table->unknown.release(plugin) == 1);
}

int main(int count, char** arguments) {
  if (count != 2) return fprintf(stderr, "usage: %s LIBRARY\n", arguments[0]);
  void* const library = Load(arguments[1]);
  if (library == NULL) return fprintf(stderr, "cannot load %s\n", arguments[1]), 1;
  int32_t (*createInstance)(void** object);
  int32_t (*canUnload)(void);
  /* The detour over memory: C knows no conversion from an object's address to a function's. */
  void* symbol = Find(library, "QBMCreateInstance");
  memcpy(&createInstance, &symbol, sizeof(createInstance));
  symbol = Find(library, "CanUnload2");
  memcpy(&canUnload, &symbol, sizeof(canUnload));

  void* object = NULL;
  EXPECT_STATUS(0, createInstance(&object));
  EXPECT(blocks == 1);
  EXPECT_STATUS(0x80004005, canUnload());
  Plugin* const plugin = object;
  CallPlugin(plugin);
  EXPECT(plugin->table->unknown.release(plugin) == 0);
  EXPECT_STATUS(0, canUnload());
  EXPECT(blocks == 0);
  return failures != 0;
}
