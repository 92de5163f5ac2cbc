// Symbol export macro of the OPC package layer: its types cross the shared library's boundary.
#pragma once

#define OPC_API __attribute__((visibility("default")))
