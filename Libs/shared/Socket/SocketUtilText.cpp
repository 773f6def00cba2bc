// The one socket function that needs the host: it converts text by way of a host string.
#include "SocketUtil.h"

#include "Source/Utility/rbData.h"
#include "Source/Utility/rbText.h"
#include "Source/Utility/rbUtil.h"

std::string ConvertWCharToUTF8(const wchar_t *text)
{
    REALstringStruct *string = UnicodeCString2RB(text);
    rbFreeLater release(&string);
    return rbText(string).GetUTF8();
}
