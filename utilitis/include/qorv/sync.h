// What threads, and processes, meet at: semaphores, locks, events, memory, the bounded queue; and slots of a thread's own.
#pragma once

#include <qorv/detail/event.h>          // CEvent
#include <qorv/detail/fast_lock.h>      // FASTKSV_PCLOCK and its spinning kin
#include <qorv/detail/fast_rw_lock.h>   // CFastRWSpinLock, CFastReaderSpinLock, CFastWriterSpinLock
#include <qorv/detail/message_queue.h>  // CMessageQueue
#include <qorv/detail/mutex.h>          // CMutex
#include <qorv/detail/proc_sync.h>      // CProcMutex, CProcEvent, CProcSem
#include <qorv/detail/rw_lock.h>        // CRWLock, CReaderLock, CWriterLock
#include <qorv/detail/scope_lock.h>     // CScopeLock
#include <qorv/detail/semaphore.h>      // CSem
#include <qorv/detail/shared_memory.h>  // CShMem
#include <qorv/detail/tls_slot.h>       // CTlsSlot
