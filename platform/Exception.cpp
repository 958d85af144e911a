#include "platform/Exception.h"

Exception::~Exception() = default;

CancelException::~CancelException() = default;
