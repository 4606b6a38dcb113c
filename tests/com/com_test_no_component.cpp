#include "com/Com.h"

// A module, but none of components: it exports something else.
ZEL_COM_ENTRY NotAComponent()
{
    return S_OK;
}
