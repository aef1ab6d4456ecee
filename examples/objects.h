/* The objects that every host needs, in C: reference counts, buffers, packets and property lists. */
#ifndef OBJECTS_H
#define OBJECTS_H

#include <qbflvplus/host_interfaces_c.h>
#include <stddef.h>

/* What all objects of this host begin with. The interface comes first, so a pointer to one is a pointer to the other.
 */
typedef struct Object {
  const void* table;
  uint32_t references;
  const QBGuid* id;
  void (*freeContent)(struct Object* self);
} Object;

/* A new object of zeros with one reference. id: its interface, besides IQBUnknown. freeContent: may be NULL. */
void* NewObject(size_t size, const void* table, const QBGuid* id, void (*freeContent)(Object*));
uint32_t AddRef(Object* self);
uint32_t Release(Object* self);
QBStatus Query(Object* self, const QBGuid* id, void** out);

/* The first three slots of the table of an interface. */
#define UNKNOWN_SLOTS(type) \
  (QBStatus(*)(type*, const QBGuid*, void**)) Query, (uint32_t(*)(type*))AddRef, (uint32_t(*)(type*))Release
#define ADD_REF(object) ((void)(object)->table->AddRef(object))
#define RELEASE(object) ((void)((object) != NULL && (object)->table->Release(object)))

/* An empty object of the class, which is the identifier of its interface; NULL if there is no such class. */
void* NewInstance(const QBGuid* classId);

extern const QBGuid kUnknownId, kBufferId, kPacketId, kListId;

#endif
