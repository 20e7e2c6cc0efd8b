// The leak checker of the sanitizer build: the resource file the test program registers at start
// stays registered until the process ends, which the checker would otherwise report as a leak in
// every test. Everything else is still checked.
extern "C" const char *__lsan_default_suppressions();
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:QResource::registerResource\n";
}
