/* The objects that every host needs, in C: reference counts, buffers, packets and property lists. */
#ifndef OBJECTS_H
#define OBJECTS_H

#include <qbflvplus/host_interfaces_c.h>
#include <stddef.h>

/* The first member of every object of this host. It begins with the table of functions, so a pointer to the object is
   also a pointer to its interface. */
typedef struct Object {
  const void* table;
  uint32_t references;
  const QBGuid* id;
  void (*freeContent)(struct Object* self);
} Object;

/* Creates an object with one reference and zeros in all other members. id: its interface besides IQBUnknown, or NULL.
   freeContent: releases what the object holds; may be NULL. */
void* NewObject(size_t size, const void* table, const QBGuid* id, void (*freeContent)(Object*));
uint32_t AddRef(Object* self);
uint32_t Release(Object* self);
QBStatus Query(Object* self, const QBGuid* id, void** out);

/* The first three entries of each table of functions. */
#define UNKNOWN_SLOTS(type) \
  (QBStatus(*)(type*, const QBGuid*, void**)) Query, (uint32_t(*)(type*))AddRef, (uint32_t(*)(type*))Release
#define ADD_REF(object) ((void)(object)->table->AddRef(object))
#define RELEASE(object) ((void)((object) != NULL && (object)->table->Release(object)))

/* Creates an empty object. classId: the identifier of its interface. Returns NULL for an unknown class. */
void* NewInstance(const QBGuid* classId);

extern const QBGuid kUnknownId, kBufferId, kPacketId, kListId;

#endif
