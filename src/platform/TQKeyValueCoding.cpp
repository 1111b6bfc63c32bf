#include "TQKeyValueCoding.h"

TQKeyValueCoding::~TQKeyValueCoding() = default;
