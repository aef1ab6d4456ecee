/* The objects that every host needs, in C. One thread uses them, so the counts are plain numbers. */
#include "objects.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

const QBGuid kUnknownId = IQBUNKNOWN_ID;
const QBGuid kBufferId = IQBBUFFER_ID;
const QBGuid kPacketId = IQBPACKET_ID;
const QBGuid kListId = IQBPROPERTYLIST_ID;

void* NewObject(size_t size, const void* table, const QBGuid* id, void (*freeContent)(Object*)) {
  Object* const object = calloc(1, size);
  if (object == NULL) exit(1);
  object->table = table;
  object->references = 1;
  object->id = id;
  object->freeContent = freeContent;
  return object;
}
uint32_t AddRef(Object* self) { return ++self->references; }
uint32_t Release(Object* self) {
  const uint32_t left = --self->references;
  if (left > 0) return left;
  if (self->freeContent != NULL) self->freeContent(self);
  free(self);
  return 0;
}
QBStatus Query(Object* self, const QBGuid* id, void** out) {
  const int known = memcmp(id, &kUnknownId, sizeof(*id)) == 0 || (self->id && memcmp(id, self->id, sizeof(*id)) == 0);
  *out = known ? self : NULL;
  if (!known) return QB_NO_INTERFACE;
  AddRef(self);
  return QB_OK;
}
/* Buffers */
typedef struct {
  Object base;
  uint32_t size;
  uint8_t* bytes;
} Buffer;
static void FreeBuffer(Object* self) { free(((Buffer*)self)->bytes); }
static QBStatus BufferSetSize(IQBBuffer* self, uint32_t size) {
  Buffer* const buffer = (Buffer*)self;
  uint8_t* const bytes = realloc(buffer->bytes, size > 0 ? size : 1);
  if (bytes == NULL) return QB_OUT_OF_MEMORY;
  buffer->bytes = bytes;
  buffer->size = size;
  return QB_OK;
}
static QBStatus BufferSet(IQBBuffer* self, const uint8_t* bytes, uint32_t length) {
  const QBStatus status = BufferSetSize(self, length);
  if (status == QB_OK && length > 0) memcpy(((Buffer*)self)->bytes, bytes, length);
  return status;
}
static uint32_t BufferSize(IQBBuffer* self) { return ((Buffer*)self)->size; }
static uint8_t* BufferBytes(IQBBuffer* self) { return ((Buffer*)self)->bytes; }
static const IQBBufferTable kBufferTable = {
    UNKNOWN_SLOTS(IQBBuffer), NULL, BufferSet, BufferSetSize, BufferSize, BufferBytes};

/* Packets */
typedef struct {
  Object base;
  IQBBuffer* buffer;
  uint32_t time;
  uint16_t stream, rule;
  uint8_t flags;
} Packet;
static void FreePacket(Object* self) { RELEASE(((Packet*)self)->buffer); }
static IQBBuffer* PacketBuffer(IQBPacket* self) {
  IQBBuffer* const buffer = ((Packet*)self)->buffer;
  if (buffer != NULL) ADD_REF(buffer);
  return buffer;
}
static uint32_t PacketTime(IQBPacket* self) { return ((Packet*)self)->time; }
static uint16_t PacketStream(IQBPacket* self) { return ((Packet*)self)->stream; }
static uint8_t PacketFlags(IQBPacket* self) { return ((Packet*)self)->flags; }
static uint16_t PacketRule(IQBPacket* self) { return ((Packet*)self)->rule; }
static int32_t PacketIsLost(IQBPacket* self) { return self == NULL; }
static QBStatus PacketSet(IQBPacket* self, IQBBuffer* buffer, uint32_t time, uint16_t stream, uint8_t flags,
                          uint16_t rule) {
  Packet* const packet = (Packet*)self;
  if (buffer != NULL) ADD_REF(buffer);
  RELEASE(packet->buffer);
  packet->buffer = buffer;
  packet->time = time;
  packet->stream = stream;
  packet->flags = flags;
  packet->rule = rule;
  return QB_OK;
}
static const IQBPacketTable kPacketTable = {UNKNOWN_SLOTS(IQBPacket),
                                            NULL,
                                            PacketBuffer,
                                            PacketTime,
                                            PacketStream,
                                            PacketFlags,
                                            PacketRule,
                                            PacketIsLost,
                                            NULL,
                                            PacketSet};

/* Property lists of at most 32 values. A value is a number or a buffer. */
typedef struct {
  char name[40];
  char kind;
  uint32_t number;
  IQBBuffer* buffer;
} Property;
typedef struct {
  Object base;
  int count;
  Property values[32];
} List;
static void FreeList(Object* self) {
  for (int i = 0; i < ((List*)self)->count; ++i) RELEASE(((List*)self)->values[i].buffer);
}
static Property* Find(IQBPropertyList* self, const char* name) {
  List* const list = (List*)self;
  for (int i = 0; i < list->count; ++i) {
    if (strcasecmp(list->values[i].name, name) == 0) return &list->values[i];
  }
  return NULL;
}
static QBStatus Store(IQBPropertyList* self, const char* name, char kind, uint32_t number, IQBBuffer* buffer) {
  List* const list = (List*)self;
  Property* value = Find(self, name);
  if (value == NULL && list->count == 32) return QB_OUT_OF_MEMORY;
  if (value == NULL) value = &list->values[list->count++];
  snprintf(value->name, sizeof(value->name), "%s", name);
  if (buffer != NULL) ADD_REF(buffer);
  RELEASE(value->buffer);
  value->kind = kind;
  value->number = number;
  value->buffer = buffer;
  return QB_OK;
}
static QBStatus Load(IQBPropertyList* self, const char* name, char kind, IQBBuffer** buffer) {
  const Property* const value = Find(self, name);
  if (value == NULL || value->kind != kind) return QB_FAILED;
  ADD_REF(value->buffer);
  *buffer = value->buffer;
  return QB_OK;
}
static QBStatus SetNumber(IQBPropertyList* self, const char* name, uint32_t number) {
  return Store(self, name, 'n', number, NULL);
}
static QBStatus GetNumber(IQBPropertyList* self, const char* name, uint32_t* number) {
  const Property* const value = Find(self, name);
  if (value == NULL || value->kind != 'n') return QB_FAILED;
  *number = value->number;
  return QB_OK;
}
static QBStatus SetBytes(IQBPropertyList* self, const char* name, IQBBuffer* value) {
  return Store(self, name, 'b', 0, value);
}
static QBStatus GetBytes(IQBPropertyList* self, const char* name, IQBBuffer** value) {
  return Load(self, name, 'b', value);
}
static QBStatus SetText(IQBPropertyList* self, const char* name, IQBBuffer* value) {
  return Store(self, name, 't', 0, value);
}
static QBStatus GetText(IQBPropertyList* self, const char* name, IQBBuffer** value) {
  return Load(self, name, 't', value);
}
static const IQBPropertyListTable kListTable = {
    UNKNOWN_SLOTS(IQBPropertyList), SetNumber, GetNumber, NULL, NULL, SetBytes, GetBytes, NULL, NULL, SetText, GetText};

void* NewInstance(const QBGuid* classId) {
  if (memcmp(classId, &kBufferId, sizeof(*classId)) == 0) {
    return NewObject(sizeof(Buffer), &kBufferTable, &kBufferId, FreeBuffer);
  }
  if (memcmp(classId, &kPacketId, sizeof(*classId)) == 0) {
    return NewObject(sizeof(Packet), &kPacketTable, &kPacketId, FreePacket);
  }
  if (memcmp(classId, &kListId, sizeof(*classId)) == 0) {
    return NewObject(sizeof(List), &kListTable, &kListId, FreeList);
  }
  return NULL;
}
