// Files and devices, files as memory, files that change with the calendar, directories, the console terminal.
#pragma once

#include <qorv/detail/dir.h>
#include <qorv/detail/file_mapping.h>
#include <qorv/detail/period_file.h>
#include <qorv/detail/sys_file.h>
#include <qorv/detail/terminal.h>
