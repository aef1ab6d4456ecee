/* Loads the library into a host that is written in C. */
#ifndef QBFLV_TESTS_SUPPORT_C_HOST_H
#define QBFLV_TESTS_SUPPORT_C_HOST_H

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "plugin/shell/host_interfaces_c.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

typedef struct {
  QBMCreateInstanceFunction createInstance;
  QBMCanUnloadFunction canUnload;
} Exports;

static void* FindExport(void* library, const char* name) {
#ifdef _WIN32
  void* symbol = (void*)GetProcAddress((HMODULE)library, name);
#else
  void* symbol = dlsym(library, name);
#endif
  if (symbol == NULL) exit(fprintf(stderr, "no export %s\n", name));
  return symbol;
}

/* Of the library that the program's only argument names; ends the program without it. */
static Exports LoadExports(int count, char** arguments) {
  if (count != 2) exit(fprintf(stderr, "usage: %s LIBRARY\n", arguments[0]));
#ifdef _WIN32
  void* library = (void*)LoadLibraryA(arguments[1]);
#else
  void* library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
#endif
  if (library == NULL) exit(fprintf(stderr, "cannot load %s\n", arguments[1]));
  Exports exports;
  /* The detour over memory: C knows no conversion from an object's address to a function's. */
  void* symbol = FindExport(library, QBM_CREATE_INSTANCE_NAME);
  memcpy(&exports.createInstance, &symbol, sizeof(symbol));
  symbol = FindExport(library, QBM_CAN_UNLOAD_NAME);
  memcpy(&exports.canUnload, &symbol, sizeof(symbol));
  return exports;
}

#endif
