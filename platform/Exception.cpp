#include "platform/Exception.h"

Exception::~Exception() = default;
