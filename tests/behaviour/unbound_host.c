/* A host without the C++ heap operators: every attempt to make an object fails and says why on standard error. */
#include <unistd.h>

#include "tests/support/c_host.h"

static const char kMessage[] = "operator new: failed to bind\n";

/* Makes one attempt with standard error turned into a pipe, and gives what was written there. */
static int Attempt(const Exports* library, char* text, size_t size) {
  int ends[2];
  const int saved = dup(STDERR_FILENO);
  if (pipe(ends) != 0 || saved < 0) return 1;
  dup2(ends[1], STDERR_FILENO);
  IQBUnknown unused = {NULL};
  IQBUnknown* object = &unused;
  const QBStatus status = library->createInstance(&object);
  fflush(stderr);
  dup2(saved, STDERR_FILENO);
  close(saved);
  close(ends[1]);
  const ssize_t length = read(ends[0], text, size - 1);
  close(ends[0]);
  text[length > 0 ? length : 0] = '\0';
  if (status != QB_OUT_OF_MEMORY) return fprintf(stderr, "status 0x%08X\n", (unsigned)status);
  if (object != NULL) return fprintf(stderr, "an object was stored\n");
  return 0;
}

int main(int count, char** arguments) {
  const Exports library = LoadExports(count, arguments);
  for (int attempt = 1; attempt <= 3; ++attempt) {
    char text[256];
    if (Attempt(&library, text, sizeof(text)) != 0) return 1;
    if (strcmp(text, kMessage) != 0) return fprintf(stderr, "attempt %d wrote \"%s\"\n", attempt, text), 1;
  }
  if (library.canUnload() != 0) return fprintf(stderr, "objects are left\n"), 1;
  return 0;
}
