// Keeps the logs from growing without end.
#pragma once

// Makes the logger check the size of each log that is a file.
void vokdEnforceLogLimits();
