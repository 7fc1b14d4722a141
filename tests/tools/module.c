/* A module for process_test to load. */

__attribute__((visibility("default"))) int pxTestAnswer(void);

int pxTestAnswer(void)
{
    return 42;
}
