/* What every program costs. */
int main(void) { return 0; }
