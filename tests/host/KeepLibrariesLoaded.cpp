// For builds under a sanitizer: libraries that a driver loads stay loaded to the end.
//
// The leak check runs last and names the library in which a block was allocated, so that what
// drivers leak can be told from what we leak. It cannot name a library that is gone by then.

extern "C" int dlclose(void*);

extern "C" __attribute__((visibility("default"))) int dlclose(void*)
{
    return 0;
}
