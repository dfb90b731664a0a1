/* A host that imports the plug-in by an import library, for both compilers' kinds of it. */
#include <driverSteward.h>

int main(void) {
    return Plugin_Interface_GetHelperOwnerModuleID() == 20005 ? 0 : 1;
}
