// Symbol export macro of the i18n layer: its types cross the shared library's boundary.
#pragma once

#define FL_I18N_API __attribute__((visibility("default")))
