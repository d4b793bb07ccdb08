#include "host/core/Log.h"

#include "host/api/Log.h"
#include "host/core/Events.h"
#include "host/core/Failure.h"
#include "host/core/SchedulingPoint.h"

void LogBoth(const char* format, ...) {
    char line[cvhost::logLineSize];
    std::va_list arguments;
    va_start(arguments, format);
    const std::string_view text = cvhost::formatText(line, format, arguments);
    va_end(arguments);
    cvhost::schedulingPoint("LogBoth");
    cvhost::publish(cvhost::LogLine{text});
    cvhost::guarded([&] { cvhost::writeLog(format, text); });
}
