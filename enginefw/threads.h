// The threads layer in one include: locks, thread objects, thread identity,
// per-thread pointers, signal boxes and reference counting.
//
//   enginefw/fatal_error.h          fatal_error
//   enginefw/nocopy.h               NoCopy
//   enginefw/critical_section.h     CriticalSection, CriticalSectionLock
//   enginefw/threadable.h           Threadable
//   enginefw/thread_id.h            ThreadID
//   enginefw/thread_specific_ptr.h  ThreadSpecificPtr<T>
//   enginefw/signal_box.h           SignalBox, SignalBox::Item
//   enginefw/atomic_counter.h       AtomicCounter
//   enginefw/counted.h              Counter, SafeCounter, Counted<T>, CountedPointer<T>
#pragma once

#include "enginefw/atomic_counter.h"
#include "enginefw/counted.h"
#include "enginefw/critical_section.h"
#include "enginefw/fatal_error.h"
#include "enginefw/nocopy.h"
#include "enginefw/signal_box.h"
#include "enginefw/thread_id.h"
#include "enginefw/thread_specific_ptr.h"
#include "enginefw/threadable.h"
