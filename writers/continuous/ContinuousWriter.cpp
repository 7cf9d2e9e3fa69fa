#include "writers/continuous/ContinuousWriter.h"

ContinuousWriter::~ContinuousWriter() = default;
