#include "LocalFileSystem.h"
