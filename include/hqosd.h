// What hqosd decides for itself: its status codes, debug selectors, diagnosis and counters. They
// are not the library's; another hqos service has its own.
#ifndef HQOSD_H
#define HQOSD_H

typedef enum HQOSD_Status {
  HQOSD_MALFORMED = 0x40020001,        // the request cannot be read
  HQOSD_UNKNOWN = 0x40020002,          // no such command or query
  HQOSD_BAD_NAME = 0x40020003,         // an empty name, or one with control characters
  HQOSD_BAD_VALUE = 0x40020004,        // a value out of its range
  HQOSD_EXISTS = 0x40020005,           // the name is taken
  HQOSD_ID_TAKEN = 0x40020006,         // the identifier is taken, or none is free
  HQOSD_NOT_FOUND = 0x40020007,        // no such object, or nothing there
  HQOSD_END = 0x40020008,              // the end of a walk
  HQOSD_IN_USE = 0x40020009,           // another object needs it, or it still has children
  HQOSD_NESTED = 0x4002000A,           // the child is nested there already
  HQOSD_RULE = 0x4002000B,             // an impossible rule, alone or beside its siblings'
  HQOSD_TOO_DEEP = 0x4002000C,         // a cycle, or more than five levels below an SP
  HQOSD_APPLIED = 0x4002000D,          // an SP is applied there already
  HQOSD_NO_COUNTERS = 0x4002000E,      // the counters cannot be read
  HQOSD_NOT_STORED = 0x4002000F,       // the store cannot be written; nothing has changed
  HQOSD_TOO_MANY = 0x40020010,         // more descendants than an SP or FG can have
  HQOSD_NOT_ALLOWED = 0x40020011,      // the caller may query, not configure
  HQOSD_NO_MEMORY = 0x40020012,        // the service is short of memory; nothing has changed
  HQOSD_STALE = 0x40020013,            // the state has another revision than the one expected
  HQOSD_UNCONFIRMED = 0x40020014,      // a transaction waits for its confirmation
  HQOSD_NOT_ENFORCEABLE = 0x40020015,  // the kernel cannot enforce it, or refuses to
  HQOSD_BUSY = 0x40020016              // a transaction is being carried out
} HQOSD_Status;

// The service's own requests, about its state as a whole: operation class and types. Their layouts
// are in docs/service.md.
enum { HQOSD_OP_STATE = 0x40 };
typedef enum HQOSD_StateType {
  HQOSD_STATE_TRANSACT = 1,  // change the state as a file of commands says
  HQOSD_STATE_EXPORT = 2,    // reply with such a file
  HQOSD_STATE_STATUS = 3     // reply with what the service has counted
} HQOSD_StateType;

typedef enum HQOSD_Mode {  // what a transaction does
  HQOSD_MODE_CHANGE = 0,   // carries the commands out
  HQOSD_MODE_REPLACE = 1,  // the commands build the whole state
  HQOSD_MODE_RESTORE = 2,  // the same, for a state that was exported: FCs get their identifiers
                           // again, and an interface may be absent
  HQOSD_MODE_CONFIRM = 3,  // no commands: keep what waits for a confirmation
  HQOSD_MODE_REVERT = 4    // no commands: revert it at once
} HQOSD_Mode;

typedef enum HQOSD_Export {  // what is exported
  HQOSD_EXPORT_RUNNING = 0,  // the present state
  HQOSD_EXPORT_KEPT = 1,     // the state of the history with a revision
  HQOSD_EXPORT_HISTORY = 2   // which states the history has
} HQOSD_Export;

typedef enum HQOSD_StateTlv {  // TLVs of replies
  HQOSD_TLV_REVISION = 1,      // revision of the state, 8 bytes
  HQOSD_TLV_REFUSAL = 2,       // position of a command from 0, code (4 bytes each), text with NUL
  HQOSD_TLV_STATUS = 3         // what the service has counted, 120 bytes
} HQOSD_StateTlv;

typedef enum HQOSD_Debug {     // bits of the selector of HQOS_lib_SetDebug
  HQOSD_DEBUG_REQUESTS = 0x1,  // log every request with its verdict
  HQOSD_DEBUG_BYTES = 0x2      // log the bytes of every request and reply
} HQOSD_Debug;

// The second diagnosis value: whether a child is in effect (the first value is then 1), or why not.
typedef enum HQOSD_Diag {
  HQOSD_DIAG_IN_EFFECT = 0,
  HQOSD_DIAG_NOT_APPLIED = 1,      // its SP is not applied there
  HQOSD_DIAG_NO_INTERFACE = 2,     // the interface does not exist
  HQOSD_DIAG_INTERFACE_DOWN = 3,   // the interface is down
  HQOSD_DIAG_NO_VALUES = 4,        // the rules above leave no value of its rule
  HQOSD_DIAG_NO_ENFORCE = 5,       // hqosd runs without --enforce
  HQOSD_DIAG_NOT_INTERFACE = 6,    // the object is no interface
  HQOSD_DIAG_OTHERS_QDISC = 7,     // somebody else configured the root qdisc of the interface
  HQOSD_DIAG_OTHERS_CHANGE = 8,    // somebody else changes the tree; it is repaired within a minute
  HQOSD_DIAG_NOT_ENFORCEABLE = 9,  // the kernel cannot enforce it on this interface: see the log
  HQOSD_DIAG_KERNEL_FAILS = 10,    // the kernel refused it: see the log
  HQOSD_DIAG_DP_UNUSED = 11        // it is in effect (the first value is 1), except the FP's DP
} HQOSD_Diag;

// The major number of the kernel's classes of hqosd. In a child's diagnosis record, words[1] has
// the minor number of its class in the upper 16 bits and that of the leaf where its frames wait in
// the lower; 0: none.
enum { HQOSD_KERNEL_MAJOR = 0x1174 };

// Counters of a child that have a name.
enum {
  HQOSD_STAT32_QUEUED_PACKETS = 0,  // in HQOS_SPSonCounters.stat32
  HQOSD_STAT32_QUEUED_BYTES = 1,
  HQOSD_STAT64_PASSED_PACKETS = 0,  // in HQOS_SPSonCounters.stat64
  HQOSD_STAT64_PASSED_BYTES = 1,
  HQOSD_STAT64_DROPPED_PACKETS = 2,
  HQOSD_STAT64_DROPPED_BYTES = 3
};

#endif
