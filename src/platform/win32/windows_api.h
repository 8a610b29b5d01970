// <windows.h> for the Windows implementation files, without the A/W macros
// whose names the ports use for their own operations. Left in place, such a
// macro would rename a port method to GetMessageW in files that see
// <windows.h> and leave it GetMessage in the model's files, and an override
// would stop matching depending on the order of includes. Every call in the
// Windows files names the W function itself.
#pragma once

#include <windows.h>

#undef CreateDirectory
#undef CreateEvent
#undef CreateFile
#undef CreateMutex
#undef CreateNamedPipe
#undef CreateProcess
#undef FindResource
#undef GetFileAttributes
#undef GetMessage
#undef GetModuleFileName
#undef GetModuleFileNameEx
#undef GetTempFileName
#undef GetTempPath
#undef LoadLibrary
#undef MoveFileEx
#undef OpenMutex
#undef OutputDebugString
#undef PostThreadMessage
#undef RegCreateKeyEx
#undef RegOpenKeyEx
#undef RegQueryValueEx
#undef RegSetValueEx
#undef WaitNamedPipe
