/* A project in C: prints the path of the plug-in that the CMake package names. */
#include <qbflvplus/host_interfaces_c.h>
#include <stdio.h>

int main(void) {
  const QBGuid id = IQBPLUGIN_ID;
  return id.data1 == 0xC00 && printf("%s\n", PLUGIN_PATH) > 0 ? 0 : 1;
}
