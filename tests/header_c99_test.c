/* The header as strict C99 sees it; it asserts the sizes of its records itself. */
#include "TorvaAPI.h"

int torva_c99_calls(void);

int torva_c99_calls(void) {
    SymApiVersion version;
    tv_GetAPIVersion(&version);
    return version.version1 == 1 && tv_InitialSection6(0) == SYM_ERR_BAD_HANDLE;
}
