// What threads meet at: semaphores, locks, events, the bounded queue and slots of their own.
#pragma once

#include <qorv/detail/event.h>          // CEvent
#include <qorv/detail/fast_lock.h>      // FASTKSV_PCLOCK and its spinning kin
#include <qorv/detail/fast_rw_lock.h>   // CFastRWSpinLock, CFastReaderSpinLock, CFastWriterSpinLock
#include <qorv/detail/message_queue.h>  // CMessageQueue
#include <qorv/detail/mutex.h>          // CMutex
#include <qorv/detail/rw_lock.h>        // CRWLock, CReaderLock, CWriterLock
#include <qorv/detail/scope_lock.h>     // CScopeLock
#include <qorv/detail/semaphore.h>      // CSem
#include <qorv/detail/tls_slot.h>       // CTlsSlot
