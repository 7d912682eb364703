#pragma once
// The memory report an assistant reads (kelvor_memory): the kernel's pressure verdict, memory
// available, swap and compressed memory, and the model servers holding weights resident, each
// with the tool's own stop command. It reads; it stops nothing.
#include "quillet/automation/protocol.hpp"
#include "quillet/platform/memory_probe.hpp"
#include "quillet/platform/procs.hpp"

namespace kelvor {

// The report from `probe` and `table`.
Json toolMemory(MemoryProbe& probe, ProcessTable& table);

// The report from the system's own probe and process table.
Json toolMemory();

}  // namespace kelvor
