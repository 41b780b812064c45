#include "UuidFileNameGenerator.h"
