#include "app/application.h"

int main() { return Application::Instance().Run(); }
