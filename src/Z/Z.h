// Z: every public C++ header of the library in one.
// Subsystem: model, layer 8. Test: tests/headers_test.py
#ifndef Z_Z_H
#define Z_Z_H

#include "ZAbstractMutableString.h"
#include "ZAbstractString.h"
#include "ZArray.h"
#include "ZBuffer.h"
#include "ZCondition.h"
#include "ZException.h"
#include "ZFileLock.h"
#include "ZFileMap.h"
#include "ZIterator.h"
#include "ZJavaProperties.h"
#include "ZKeyMap.h"
#include "ZLCString.h"
#include "ZList.h"
#include "ZLock.h"
#include "ZMap.h"
#include "ZMessage.h"
#include "ZObject.h"
#include "ZObservable.h"
#include "ZProcessLock.h"
#include "ZProperties.h"
#include "ZReadWriteLock.h"
#include "ZSortCompare.h"
#include "ZSqueeze.h"
#include "ZStack.h"
#include "ZStanzaFileProperties.h"
#include "ZStringIterator.h"
#include "ZTISUTF8Converter.h"
#include "ZThread.h"
#include "ZUTF8String.h"
#include "ztisutil.h"

#endif
