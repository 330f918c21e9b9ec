#ifndef VIREON_ENGINE_COM_APARTMENT_H
#define VIREON_ENGINE_COM_APARTMENT_H

// COM for the calling thread, for a scope: script callables run on worker threads and may use it.
// Writes to the diagnostics log when COM cannot be had; the thread carries on without. Nothing at
// all on platforms without COM. Destroyed on the thread that made it.
class ComApartment {
  public:
    ComApartment() : is_inside_(Enter()) {}
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;
    ~ComApartment() {
        if (is_inside_) Leave();
    }

  private:
    static bool Enter();
    static void Leave();

    const bool is_inside_;
};

#endif
