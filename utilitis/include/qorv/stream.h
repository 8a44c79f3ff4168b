// Streams of bytes: what reads and writes data goes through their interfaces, whatever is behind them.
#pragma once

#include <qorv/detail/buffered_stream.h>
#include <qorv/detail/byte_io.h>
#include <qorv/detail/data_object.h>
#include <qorv/detail/generic_stream.h>
