/* A complete host for the plug-in in C on Linux: opens a file with queued reads, shows the headers, plays the packets,
   seeks to 5 s, plays to the end again, closes and unloads. It exits at the first failure. */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "objects.h"

/* The library allocates with the C++ heap operators of the main program. A C program defines them under their binary
   names; the linker option -rdynamic, which pkg-config adds, exports them. */
void* _Znwm(size_t size) { return malloc(size); }
void* _Znam(size_t size) { return malloc(size); }
void _ZdlPv(void* block) { free(block); }
void _ZdaPv(void* block) { free(block); }

static void Check(QBStatus status, const char* what) {
  if (status >= 0) return;
  fprintf(stderr, "%s: status 0x%08x\n", what, (unsigned)status);
  exit(1);
}

static const QBGuid kFactoryId = IQBOBJECTFACTORY_ID;
static const QBGuid kPluginId = IQBPLUGIN_ID;
static const QBGuid kFormatId = IQBFILEFORMATOBJECT_ID;

/* The context is the object factory itself. This host has no preferences. */
static QBStatus CreateInstance(IQBObjectFactory* self, const QBGuid* id, void** object) {
  (void)self;
  *object = NewInstance(id);
  return *object != NULL ? QB_OK : QB_NO_INTERFACE;
}
static const IQBObjectFactoryTable kFactoryTable = {UNKNOWN_SLOTS(IQBObjectFactory), CreateInstance};

/* The request has a URL and no headers. */
static QBStatus GetHeaders(IQBRequest* self, IQBPropertyList** headers) {
  (void)self;
  *headers = NewInstance(&kListId);
  return QB_OK;
}
static QBStatus GetUrl(IQBRequest* self, const char** url) {
  (void)self;
  *url = "file:///film.flv";
  return QB_OK;
}
static const IQBRequestTable kRequestTable = {UNKNOWN_SLOTS(IQBRequest), NULL, GetHeaders, NULL, NULL, NULL, GetUrl};

/* The file performs each operation inside the call and queues its completion for the main loop. It does not report its
   size (IQBFileStat), so the plug-in drops packets that wait for the other stream at the end of the file. */
typedef struct Completion {
  char kind;
  IQBFileResponse* response;
  IQBBuffer* buffer;
  struct Completion* next;
} Completion;
typedef struct {
  Object base;
  FILE* stream;
  IQBFileResponse* response;
  Completion* first;
} File;
static QBStatus Enqueue(File* file, char kind, IQBBuffer* buffer) {
  Completion* const completion = calloc(1, sizeof(*completion));
  if (completion == NULL) exit(1);
  completion->kind = kind;
  completion->buffer = buffer;
  completion->response = file->response;
  ADD_REF(completion->response);
  Completion** end = &file->first;
  while (*end != NULL) end = &(*end)->next;
  *end = completion;
  return QB_OK;
}
static int RunCompletion(File* file, int deliver) {
  Completion* const completion = file->first;
  if (completion == NULL) return 0;
  file->first = completion->next;
  IQBFileResponse* const response = completion->response;
  if (deliver && completion->kind == 'i') response->table->InitDone(response, QB_OK);
  if (deliver && completion->kind == 'r') response->table->ReadDone(response, QB_OK, completion->buffer);
  if (deliver && completion->kind == 's') response->table->SeekDone(response, QB_OK);
  RELEASE(completion->buffer);
  RELEASE(response);
  free(completion);
  return 1;
}
static QBStatus FileInit(IQBSourceFile* self, uint32_t flags, IQBFileResponse* response) {
  (void)flags;
  ((File*)self)->response = response;
  ADD_REF(response);
  return Enqueue((File*)self, 'i', NULL);
}
static QBStatus FileClose(IQBSourceFile* self) {
  File* const file = (File*)self;
  while (RunCompletion(file, 0)) {
  }
  RELEASE(file->response);
  file->response = NULL;
  return QB_OK;
}
static QBStatus FileRead(IQBSourceFile* self, uint32_t count) {
  IQBBuffer* const buffer = NewInstance(&kBufferId);
  Check(buffer->table->SetSize(buffer, count), "a buffer");
  const size_t size = fread(buffer->table->GetBuffer(buffer), 1, count, ((File*)self)->stream);
  Check(buffer->table->SetSize(buffer, (uint32_t)size), "a shorter buffer"); /* the end of the file */
  return Enqueue((File*)self, 'r', buffer);
}
static QBStatus FileSeek(IQBSourceFile* self, uint32_t offset, int32_t relative) {
  (void)relative;
  fseek(((File*)self)->stream, (long)offset, SEEK_SET);
  return Enqueue((File*)self, 's', NULL);
}
static QBStatus FileHint(IQBSourceFile* self, uint32_t hint) { return (void)self, (void)hint, QB_OK; }
static const IQBSourceFileTable kFileTable = {
    UNKNOWN_SLOTS(IQBSourceFile), FileInit, NULL, FileClose, FileRead, NULL, FileSeek, FileHint};

/* The sink shows headers, counts packets, and requests the next packet of a stream when it receives one. */
typedef struct {
  Object base;
  IQBFileFormatObject* format; /* borrowed */
  uint32_t streams;
  char ended; /* the last request that ended; 0 while one is pending */
  uint32_t streamsDone, packets, bytes;
} Sink;
static QBStatus End(IQBFormatSink* self, char request, QBStatus status, const char* what) {
  Check(status, what);
  ((Sink*)self)->ended = request;
  return QB_OK;
}
static QBStatus OnInit(IQBFormatSink* self, QBStatus status) { return End(self, 'i', status, "opening"); }
static QBStatus OnSeek(IQBFormatSink* self, QBStatus status) { return End(self, 's', status, "seeking"); }
static void ShowText(IQBPropertyList* list, const char* name) {
  IQBBuffer* text = NULL;
  if (list->table->GetCString(list, name, &text) < 0) return;
  printf("%s: %s\n", name, (const char*)text->table->GetBuffer(text));
  RELEASE(text);
}
static QBStatus OnFileHeader(IQBFormatSink* self, QBStatus status, IQBPropertyList* header) {
  Check(status, "the file header");
  Check(header->table->GetULONG32(header, "StreamCount", &((Sink*)self)->streams), "the number of streams");
  ShowText(header, "Title");
  return End(self, 'h', status, "the file header");
}
static QBStatus OnStreamHeader(IQBFormatSink* self, QBStatus status, IQBPropertyList* header) {
  uint32_t duration = 0;
  Check(status, "a stream header");
  ShowText(header, "MimeType");
  if (header->table->GetULONG32(header, "Duration", &duration) >= 0) printf("Duration: %u ms\n", duration);
  return End(self, 'n', status, "a stream header");
}
static QBStatus OnPacket(IQBFormatSink* self, QBStatus status, IQBPacket* packet) {
  Sink* const sink = (Sink*)self;
  IQBBuffer* const buffer = packet->table->GetPacketBuffer(packet);
  if (sink->packets++ == 0) printf("first packet at %u ms\n", packet->table->GetTime(packet));
  sink->bytes += buffer->table->GetSize(buffer);
  RELEASE(buffer);
  /* A stream without a pending request would block the packets of the other streams. */
  Check(sink->format->table->GetPacket(sink->format, packet->table->GetStreamNumber(packet)), "the next packet");
  return status;
}
static QBStatus OnStreamDone(IQBFormatSink* self, uint16_t stream) {
  (void)stream;
  ++((Sink*)self)->streamsDone;
  return QB_OK;
}
static const IQBFormatSinkTable kSinkTable = {
    UNKNOWN_SLOTS(IQBFormatSink), OnInit, OnPacket, OnSeek, OnFileHeader, OnStreamHeader, OnStreamDone};

/* Runs completions until the request has ended. It may have ended inside its call. */
static void Await(Sink* sink, File* file, char request, QBStatus status, const char* what) {
  Check(status, what);
  while (sink->ended != request && RunCompletion(file, 1)) {
  }
  if (sink->ended != request) Check(QB_FAILED, what);
  sink->ended = 0;
}
static void Play(Sink* sink, File* file) {
  sink->packets = sink->bytes = sink->streamsDone = 0;
  for (uint16_t i = 0; i < sink->streams; ++i) Check(sink->format->table->GetPacket(sink->format, i), "a packet");
  while (sink->streamsDone < sink->streams && RunCompletion(file, 1)) {
  }
  if (sink->streamsDone < sink->streams) Check(QB_FAILED, "playing");
  printf("%u packets, %u bytes\n", sink->packets, sink->bytes);
}

static void PlayFile(IQBPlugin* plugin, FILE* stream) {
  IQBFileFormatObject* format = NULL;
  Check(plugin->table->QueryInterface(plugin, &kFormatId, (void**)&format), "the file-format object");
  IQBUnknown* const context = NewObject(sizeof(Object), &kFactoryTable, &kFactoryId, NULL);
  IQBRequest* const request = NewObject(sizeof(Object), &kRequestTable, NULL, NULL);
  File* const file = NewObject(sizeof(File), &kFileTable, NULL, NULL);
  Sink* const sink = NewObject(sizeof(Sink), &kSinkTable, NULL, NULL);
  file->stream = stream;
  sink->format = format;
  Check(plugin->table->InitPlugin(plugin, context), "the context");
  Await(sink, file, 'i', format->table->InitFileFormat(format, request, (IQBFormatSink*)sink, (IQBSourceFile*)file),
        "opening");
  Await(sink, file, 'h', format->table->GetFileHeader(format), "the file header");
  for (uint16_t i = 0; i < sink->streams; ++i) {
    Await(sink, file, 'n', format->table->GetStreamHeader(format, i), "a stream header");
  }
  Play(sink, file);
  Await(sink, file, 's', format->table->Seek(format, 5000), "seeking to 5 s");
  Play(sink, file);
  format->table->Close(format);
  RELEASE(format);
  Release(&sink->base);
  Release(&file->base);
  RELEASE(request);
  RELEASE(context);
}

int main(int count, char** arguments) {
  if (count != 3) return fprintf(stderr, "usage: %s PLUGIN FILE\n", arguments[0]), 2;
  FILE* const stream = fopen(arguments[2], "rb");
  if (stream == NULL) return perror(arguments[2]), 1;
  void* const library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
  if (library == NULL) return fprintf(stderr, "%s\n", dlerror()), 1;
  QBMCreateInstanceFunction createInstance;
  QBMCanUnloadFunction canUnload;
  *(void**)&createInstance = dlsym(library, QBM_CREATE_INSTANCE_NAME);
  *(void**)&canUnload = dlsym(library, QBM_CAN_UNLOAD_NAME);
  if (createInstance == NULL || canUnload == NULL) return fprintf(stderr, "not the plug-in\n"), 1;
  IQBUnknown* object = NULL;
  IQBPlugin* plugin = NULL;
  Check(createInstance(&object), "an object");
  Check(object->table->QueryInterface(object, &kPluginId, (void**)&plugin), "the plug-in's interface");
  PlayFile(plugin, stream);
  RELEASE(plugin);
  RELEASE(object);
  Check(canUnload(), "unloading");
  dlclose(library);
  fclose(stream);
  return 0;
}
