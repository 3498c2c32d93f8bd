// Keeps the logs from growing without end.
#pragma once

// Has the logger look at the size of each log that is a file.
void vokdEnforceLogLimits();
