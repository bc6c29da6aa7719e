// VXSizeF: a width and height in single precision, for the float aspect-ratio fit.
#pragma once

class VXSizeF {
public:
    constexpr VXSizeF() = default;
    constexpr VXSizeF(float width, float height) : _x(width), _y(height) {}

    constexpr float getX() const { return _x; }
    constexpr float getY() const { return _y; }
    void setX(float width) { _x = width; }
    void setY(float height) { _y = height; }

    bool operator==(const VXSizeF& other) const = default;

private:
    float _x = 0.0f;
    float _y = 0.0f;
};
