// What every C++ program costs. With an argument it waits, to be looked at.
#include <unistd.h>

int main(int count, char**) {
  if (count > 1) pause();
}
