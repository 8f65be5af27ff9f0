// A process that does nothing: what starting one costs.
int main() {
  return 0;
}
