#include "SessionFolder.h"
