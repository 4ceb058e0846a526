/* The same from inside a process that is linked with the library: see fail_allocation.c. */
#pragma once
#ifdef __cplusplus
extern "C" {
#endif

/* From now on the allocations are counted anew, and the one of this number fails, once or with all after it; 0: none. */
void orbFailAllocation(long number, int onwards);

/* How many there were since then. */
long orbAllocations(void);

#ifdef __cplusplus
}
#endif
