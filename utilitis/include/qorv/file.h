// Files and devices, files as memory and by the C library, pipes, files that change with the calendar, directories, the console terminal.
#pragma once

#include <qorv/detail/c_file.h>
#include <qorv/detail/dir.h>
#include <qorv/detail/file_mapping.h>
#include <qorv/detail/period_file.h>
#include <qorv/detail/pipe.h>
#include <qorv/detail/sys_file.h>
#include <qorv/detail/terminal.h>
