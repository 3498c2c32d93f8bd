// Keeps the kernel from backing the threads' stacks with huge pages. Where it does so by itself ("always" in
// /sys/kernel/mm/transparent_hugepage/enabled), a stack that lies well takes 2 MiB for the few KiB in use.
#pragma once

// For this process and the commands that it runs; before any other thread is created. A kernel that does not
// know the request (Linux before 3.15) is left as it is.
void vokdAvoidHugePages();
