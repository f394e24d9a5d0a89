// A call into another shared library that does nothing: what a test of the log level can't do without.
bool emptyCall(const char* component, int level);

bool emptyCall(const char* /*component*/, int /*level*/)
{
    return false;
}
