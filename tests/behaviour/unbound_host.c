/* A host without the C++ heap operators: every attempt to make an object fails and says why on standard error. */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

typedef int32_t (*CreateInstance)(void** object);
typedef int32_t (*CanUnload)(void);

static const char kMessage[] = "operator new: failed to bind\n";

/* Makes one attempt with standard error turned into a pipe, and gives what was written there. */
static int Attempt(CreateInstance create, char* text, size_t size) {
  int ends[2];
  const int saved = dup(STDERR_FILENO);
  if (pipe(ends) != 0 || saved < 0) return 1;
  dup2(ends[1], STDERR_FILENO);
  void* object = &ends;
  const int32_t status = create(&object);
  fflush(stderr);
  dup2(saved, STDERR_FILENO);
  close(saved);
  close(ends[1]);
  const ssize_t length = read(ends[0], text, size - 1);
  close(ends[0]);
  text[length > 0 ? length : 0] = '\0';
  if ((uint32_t)status != 0x8007000Eu) return fprintf(stderr, "status 0x%08X\n", (unsigned)status);
  if (object != NULL) return fprintf(stderr, "an object was stored\n");
  return 0;
}

int main(int count, char** arguments) {
  if (count != 2) return fprintf(stderr, "usage: %s LIBRARY\n", arguments[0]);
  void* const library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
  if (library == NULL) return fprintf(stderr, "%s\n", dlerror()), 1;
  CreateInstance create;
  CanUnload canUnload;
  /* The detour over memory: C knows no conversion from an object's address to a function's. */
  void* symbol = dlsym(library, "QBMCreateInstance");
  memcpy(&create, &symbol, sizeof(create));
  symbol = dlsym(library, "CanUnload2");
  memcpy(&canUnload, &symbol, sizeof(canUnload));

  for (int attempt = 1; attempt <= 3; ++attempt) {
    char text[256];
    if (Attempt(create, text, sizeof(text)) != 0) return 1;
    if (strcmp(text, kMessage) != 0) return fprintf(stderr, "attempt %d wrote \"%s\"\n", attempt, text), 1;
  }
  if (canUnload() != 0) return fprintf(stderr, "objects are left\n"), 1;
  return 0;
}
